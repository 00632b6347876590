#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace sonvale {

// One library folder: what the database keeps (pk, root, lastCompletedScan) and its scan state
// in this run of the program (never stored). A plain value: whoever shares it between threads
// guards it.
struct Folder {
    enum class State {
        none = 0,      // not scanned since the program started
        scanning = 1,  // scan queued, or the directory being walked
        indexing = 2,  // the files found being processed
        ready = 3,     // scan finished
    };
    struct Progress {
        qint64 total = 0;      // files found by the walk
        qint64 completed = 0;  // files processed so far
        bool operator==(const Progress&) const = default;
    };

    std::optional<qint64> pk;  // row id in "folders"; absent until the folder is stored
    QString root;              // absolute path of the folder's directory
    // When the last scan of the folder finished; stored as whole seconds since 1970 (UTC).
    std::optional<QDateTime> lastCompletedScan;
    State state = State::none;
    std::optional<Progress> progress = std::nullopt;  // only while files are processed
};

}  // namespace sonvale
