#pragma once

#include "AudioInfo.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

namespace sonvale {

// Whether a track's metadata has been read; the raw values are stored in the database.
enum class TrackStatus { none = 0, scanned = 1 };
std::optional<TrackStatus> trackStatusFromRaw(qint64 raw);

// Version of the reading rules; a stored record with an older one is read again.
inline constexpr qint64 currentMetaVersion = 3;

// One audio file known to the program. The path is the identity: equality and hashing use it
// alone, and tracks order by their paths compared case-insensitively, numerically and without
// regard to diacritics ("Track 2" before "track 10"). Records are shared (TrackRef) between the
// playlist, the library and the windows; a Track has no lock, so only one thread may fill a
// record at a time.
class Track {
public:
    Track() = default;
    explicit Track(QString path) : path(std::move(path)) {}

    qint64 pk = 0;
    TrackStatus status = TrackStatus::none;
    QString path;      // absolute
    qint64 folder = 0; // row id of the library folder that holds the file; 0 when none
    QString title;
    QString artist;    // every artist joined with " / "
    QString album;
    QString track;     // decimal text without leading zeros, or empty
    double duration = 0;
    qint64 bitRate = 0;
    qint64 channels = 0;
    qint64 sampleRate = 0;
    qint64 size = 0;
    qint64 timestamp = 0;  // modification time in whole seconds since 1970
    qint64 metaVersion = 0;
    std::optional<QString> lyrics;
    QList<Chapter> chapters;

    // The embedded or folder artwork, searched for once and then kept in memory. Blocking
    // file input on first use; call it off the main thread.
    const std::optional<QByteArray>& artwork();
    // Forgets the cached artwork, for example after the file changed.
    void resetArtwork();

    bool operator==(const Track& other) const { return path == other.path; }
    bool operator<(const Track& other) const;

private:
    bool artworkLoaded_ = false;
    std::optional<QByteArray> artwork_;
};

using TrackRef = std::shared_ptr<Track>;

// Negative, zero or positive as `a` sorts before, with or after `b`: case-insensitive,
// diacritic-insensitive, runs of digits compared by their value, no locale.
int comparePaths(const QString& a, const QString& b);

size_t qHash(const Track& track, size_t seed = 0);

}  // namespace sonvale
