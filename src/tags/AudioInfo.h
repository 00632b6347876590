#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace sonvale {

// One chapter mark, in seconds.
struct Chapter {
    double start = 0;
    double end = 0;
    QString title;

    bool operator==(const Chapter&) const = default;
};

// Text tags found by a reader; absent or empty when the file has none.
struct AudioTags {
    std::optional<QString> title;
    QList<QString> artists;
    std::optional<QString> album;
    std::optional<QString> trackNumber;  // already normalised (see Format::normalizeTrackNumber)
    std::optional<QString> genre;
    std::optional<QString> lyrics;

    bool operator==(const AudioTags&) const = default;
};

// Technical values of the audio stream; 0 means unknown.
struct AudioProperties {
    double duration = 0;   // seconds
    qint64 bitRate = 0;    // bits per second
    qint64 sampleRate = 0; // Hz
    qint64 channels = 0;

    bool operator==(const AudioProperties&) const = default;
};

// The whole result of one reader run.
struct AudioInfo {
    AudioProperties properties;
    AudioTags tags;
    QList<Chapter> chapters;  // cleaned up by finalizeChapters
    bool hasArtwork = false;

    bool operator==(const AudioInfo&) const = default;
};

// The clean-up every reader applies to the chapters it found: drops chapters that start
// before 0 (or at NaN), sorts by start (stable), and gives a chapter without a proper end the
// start of the next one (the duration for the last). A chapter that does not start before
// its successor keeps its end as it is.
QList<Chapter> finalizeChapters(QList<Chapter> chapters, double duration);

// Gives each of title, album, track number, genre and lyrics that `tags` lacks the value of
// `from`, and the artists of `from` when `tags` has none: how a secondary tag fills in.
void fillMissing(AudioTags& tags, const AudioTags& from);

// Trims white space, newlines and NUL characters from both ends, as every reader does with
// the texts it returns.
QString trimTagText(const QString& text);
QStringView trimTagText(QStringView text);

}  // namespace sonvale
