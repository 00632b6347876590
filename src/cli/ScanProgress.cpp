#include "ScanProgress.h"

#include "CommandLine.h"

#include <algorithm>

namespace sonvale {

namespace {

constexpr qint64 kPlainLineEveryMs = 250;
constexpr int kBarWidth = 24;
constexpr qsizetype kShownPathLength = 40;

// The end of a long path, so that the terminal line fits and can be redrawn in place.
QString shortPath(const QString& path) {
    if (path.size() <= kShownPathLength) return path;
    return QStringLiteral("...") + path.right(kShownPathLength - 3);
}

}  // namespace

ScanProgress::ScanProgress(FILE* out, FILE* err, bool terminal, std::function<qint64(const Folder&)> countFiles,
                           std::function<void()> allFinished)
    : out_(out), err_(err), terminal_(terminal), countFiles_(std::move(countFiles)),
      allFinished_(std::move(allFinished)) {
    clock_.start();
}

void ScanProgress::folderChanged(const FolderRef& folder) {
    if (!folder->progress || !waiting_.contains(folder.get())) return;
    const Folder::Progress& progress = *folder->progress;
    const qint64 now = clock_.elapsed();
    if (terminal_) {
        const int filled = progress.total > 0 ? int(kBarWidth * progress.completed / progress.total) : 0;
        const QString bar = QString(filled, QLatin1Char('#')) + QString(kBarWidth - filled, QLatin1Char('-'));
        CommandContext::print(err_, QStringLiteral("\r\x1b[K%1 [%2] %3/%4 files, %5 files/s")
                                        .arg(shortPath(folder->root), bar)
                                        .arg(progress.completed)
                                        .arg(progress.total)
                                        .arg(rate(progress.completed, now - folderStartMs_), 0, 'f', 0));
        lineShown_ = true;
    } else {
        if (lastLineMs_ >= 0 && now - lastLineMs_ < kPlainLineEveryMs) return;
        lastLineMs_ = now;
        CommandContext::print(err_, QStringLiteral("%1: %2/%3 files, %4 files/s\n")
                                        .arg(folder->root)
                                        .arg(progress.completed)
                                        .arg(progress.total)
                                        .arg(rate(progress.completed, now - folderStartMs_), 0, 'f', 0));
    }
    std::fflush(err_);
}

void ScanProgress::folderScanFinished(const FolderRef& folder) {
    if (!waiting_.remove(folder.get())) return;
    clearTerminalLine();
    const qint64 files = countFiles_(*folder);
    const qint64 ms = clock_.elapsed() - folderStartMs_;
    CommandContext::print(out_, QStringLiteral("%1\t%2 files\t%3 s\t%4 files/s\n")
                                    .arg(folder->root)
                                    .arg(files)
                                    .arg(double(ms) / 1000.0, 0, 'f', 2)
                                    .arg(rate(files, ms), 0, 'f', 0));
    std::fflush(out_);
    folderStartMs_ = clock_.elapsed();
    if (waiting_.isEmpty()) allFinished_();
}

double ScanProgress::rate(qint64 files, qint64 ms) {
    // At least a millisecond, so that a quick scan of nothing shows 0, not a division by zero.
    return double(files) * 1000.0 / double(std::max<qint64>(1, ms));
}

void ScanProgress::clearTerminalLine() {
    if (!lineShown_) return;
    std::fputs("\r\x1b[K", err_);
    std::fflush(err_);
    lineShown_ = false;
}

}  // namespace sonvale
