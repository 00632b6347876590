#pragma once

#include "LibraryListener.h"

#include <QElapsedTimer>
#include <QSet>

#include <cstdio>
#include <functional>

namespace sonvale {

// Shows the scans of `sonvale-cli scan` as the library reports them. On a terminal, `err`
// holds one line that is redrawn at each progress step (bar, files done, files per second);
// elsewhere a plain line is written at a progress step at most every quarter second. When a
// folder's scan finishes, `out` gets its summary: path, files, seconds and files per second,
// separated by tabs. The scans run one after another, so a folder's time runs from the end of
// the previous one (or from the start).
//
// Main thread only, like every library listener. The streams are not owned.
class ScanProgress final : public LibraryListener {
public:
    // `countFiles` gives the number of files of a folder whose scan finished; `allFinished` is
    // called once, when every folder passed to expect() has finished.
    ScanProgress(FILE* out, FILE* err, bool terminal, std::function<qint64(const Folder&)> countFiles,
                 std::function<void()> allFinished);

    void expect(const FolderRef& folder) { waiting_.insert(folder.get()); }
    bool finished() const { return waiting_.isEmpty(); }

    void folderChanged(const FolderRef& folder) override;
    void folderScanFinished(const FolderRef& folder) override;

private:
    // Files per second for `files` done in `ms` milliseconds.
    static double rate(qint64 files, qint64 ms);
    void clearTerminalLine();

    FILE* const out_;
    FILE* const err_;
    const bool terminal_;
    const std::function<qint64(const Folder&)> countFiles_;
    const std::function<void()> allFinished_;
    QSet<const Folder*> waiting_;
    QElapsedTimer clock_;
    qint64 folderStartMs_ = 0;
    qint64 lastLineMs_ = -1;  // when the last plain line was written; -1 before the first
    bool lineShown_ = false;  // a terminal line waits to be cleared
};

}  // namespace sonvale
