#include "AudioInfo.h"

#include <algorithm>

namespace sonvale {

QList<Chapter> finalizeChapters(QList<Chapter> chapters, double duration) {
    // `!(start >= 0)` also drops NaN starts.
    chapters.removeIf([](const Chapter& c) { return !(c.start >= 0); });
    std::stable_sort(chapters.begin(), chapters.end(),
                     [](const Chapter& a, const Chapter& b) { return a.start < b.start; });
    for (qsizetype i = 0; i < chapters.size(); ++i) {
        const double next = i + 1 < chapters.size() ? chapters[i + 1].start : duration;
        Chapter& c = chapters[i];
        if (c.end <= c.start && c.start < next) c.end = next;
    }
    return chapters;
}

void fillMissing(AudioTags& tags, const AudioTags& from) {
    if (!tags.title) tags.title = from.title;
    if (!tags.album) tags.album = from.album;
    if (!tags.trackNumber) tags.trackNumber = from.trackNumber;
    if (!tags.genre) tags.genre = from.genre;
    if (!tags.lyrics) tags.lyrics = from.lyrics;
    if (tags.artists.isEmpty()) tags.artists = from.artists;
}

QStringView trimTagText(QStringView text) {
    auto isTrimmed = [](QChar c) { return c.isSpace() || c.unicode() == 0; };
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isTrimmed(text[begin])) ++begin;
    while (end > begin && isTrimmed(text[end - 1])) --end;
    return text.sliced(begin, end - begin);
}

QString trimTagText(const QString& text) {
    const QStringView trimmed = trimTagText(QStringView(text));
    return trimmed.size() == text.size() ? text : trimmed.toString();
}

}  // namespace sonvale
