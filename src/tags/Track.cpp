#include "Track.h"

#include "TrackMetadata.h"

#include <QHash>

namespace sonvale {

namespace {

// The comparison key of one character: case folded, with diacritics removed.
void appendFolded(QString& out, QChar c) {
    if (c.unicode() < 0x80) {
        out.append(c.toCaseFolded());
        return;
    }
    const QString decomposed = QString(c).normalized(QString::NormalizationForm_KD);
    for (QChar d : decomposed) {
        if (!d.isMark()) out.append(d.toCaseFolded());
    }
}

QString foldForOrder(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (QChar c : text) appendFolded(out, c);
    return out;
}

bool isDigit(QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); }

// Compares the digit runs starting at a[i] and b[j] by value and advances past them.
int compareNumbers(const QString& a, qsizetype& i, const QString& b, qsizetype& j) {
    while (i < a.size() && a[i] == QLatin1Char('0') && i + 1 < a.size() && isDigit(a[i + 1])) ++i;
    while (j < b.size() && b[j] == QLatin1Char('0') && j + 1 < b.size() && isDigit(b[j + 1])) ++j;
    qsizetype ei = i, ej = j;
    while (ei < a.size() && isDigit(a[ei])) ++ei;
    while (ej < b.size() && isDigit(b[ej])) ++ej;
    int result = 0;
    if (ei - i != ej - j) {
        result = ei - i < ej - j ? -1 : 1;
    } else {
        result = QStringView(a).sliced(i, ei - i).compare(QStringView(b).sliced(j, ej - j));
    }
    i = ei;
    j = ej;
    return result;
}

}  // namespace

std::optional<TrackStatus> trackStatusFromRaw(qint64 raw) {
    switch (raw) {
    case 0: return TrackStatus::none;
    case 1: return TrackStatus::scanned;
    default: return std::nullopt;
    }
}

int comparePaths(const QString& left, const QString& right) {
    const QString a = foldForOrder(left);
    const QString b = foldForOrder(right);
    qsizetype i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            if (const int c = compareNumbers(a, i, b, j)) return c;
            continue;
        }
        if (a[i] != b[j]) return a[i] < b[j] ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

bool Track::operator<(const Track& other) const { return comparePaths(path, other.path) < 0; }

size_t qHash(const Track& track, size_t seed) { return qHash(track.path, seed); }

const std::optional<QByteArray>& Track::artwork() {
    if (!artworkLoaded_) {
        artwork_ = loadArtworkData(path);
        artworkLoaded_ = true;
    }
    return artwork_;
}

void Track::resetArtwork() {
    artworkLoaded_ = false;
    artwork_.reset();
}

}  // namespace sonvale
