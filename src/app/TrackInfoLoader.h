#pragma once

#include "Track.h"

#include <QDateTime>
#include <QImage>
#include <QObject>

namespace sonvale {

class OperationQueue;

// What the track information window shows of one file, read afresh from it.
struct TrackDetails {
    QString path;
    bool missing = false;  // the file could not be examined: gone, or unreadable
    Track track;           // filled by the tag readers as the library fills its records
    QString format;        // "FLAC", "MP3", "MP4", "WAVE", "AIFF", or the extension
    QString genre;
    QDateTime modified;
    QImage artwork;        // decoded at full size; null when the file has none
    QImage thumbnail;      // the artwork scaled for the window's heading
};

// Reads a file's details and artwork on `queue` and hands them back on the main thread. Only the
// answer to the latest request is delivered; earlier ones are dropped. Main thread only; the
// queue must outlive the loader.
class TrackInfoLoader : public QObject {
    Q_OBJECT
public:
    explicit TrackInfoLoader(OperationQueue& queue, QObject* parent = nullptr);

    // Reads `path`, with a thumbnail of its artwork `thumbnailSide` pixels wide and high at most.
    void load(const QString& path, int thumbnailSide);

    // Blocking file input: the details of `path`. Any thread.
    static TrackDetails read(const QString& path, int thumbnailSide);

signals:
    void loaded(const sonvale::TrackDetails& details);

private:
    OperationQueue& queue_;
    quint64 generation_ = 0;
};

}  // namespace sonvale
