#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace sonvale {

// One library folder as the database keeps it. A plain value: whoever shares it between
// threads guards it.
struct Folder {
    std::optional<qint64> pk;  // row id in "folders"; absent until the folder is stored
    QString root;              // absolute path of the folder's directory
    // When the last scan of the folder finished; stored as whole seconds since 1970 (UTC).
    std::optional<QDateTime> lastCompletedScan;
};

}  // namespace sonvale
