#pragma once

#include <QByteArray>
#include <QString>

namespace sonvale {

// Pictures written to files so that MPRIS clients, which take covers only as URLs, can show
// embedded artwork. Each picture is one file named by a hash of its bytes, written once; the
// folder is kept small by removing the least recently stored files.
//
// Threads: blocking file input and output. Any thread, one call at a time per folder.
// Failure: store() logs (sonvale.mpris) and returns an empty path; nothing is thrown.
class CoverCache {
public:
    static constexpr int kMaxFiles = 50;
    static constexpr qint64 kMaxBytes = 20LL * 1024 * 1024;

    // $XDG_CACHE_HOME/Sonvale/covers (by default ~/.cache/Sonvale/covers).
    static QString defaultFolder();

    // The folder is created on the first store().
    explicit CoverCache(QString folder = defaultFolder(), int maxFiles = kMaxFiles, qint64 maxBytes = kMaxBytes);

    // The path of the file holding `picture`: "<sha1>.png" for PNG data, "<sha1>.jpg" for
    // anything else. A picture stored before is not written again but counts as stored now.
    // After a write the least recently stored files are removed until at most maxFiles files
    // and maxBytes bytes remain; the file just stored always stays. Empty when the folder or
    // the file cannot be written.
    QString store(const QByteArray& picture);

    const QString& folder() const { return folder_; }

private:
    void prune(const QString& keep);

    QString folder_;
    int maxFiles_;
    qint64 maxBytes_;
};

}  // namespace sonvale
