#include "Index.h"

#include "Indexable.h"
#include "Tokenizer.h"

#include <QSet>

#include <cstring>

namespace sonvale {

namespace {

// Moves on whenever tokens() gives different tokens for some text, so that digests stored by
// an older build no longer match.
constexpr quint64 kTokenizerRules = 1;

// Four 16-bit units at a time, each word multiplied in and folded, then a final mix so that
// every input bit reaches every output bit.
class Digest {
public:
    void add(quint64 word) {
        state_ = (state_ ^ word) * 0x9e3779b97f4a7c15ULL;
        state_ ^= state_ >> 29;
    }
    void add(QStringView text) {
        const QChar* units = text.data();
        const qsizetype size = text.size();
        qsizetype i = 0;
        for (; i + 4 <= size; i += 4) {
            quint64 word;
            std::memcpy(&word, units + i, sizeof(word));
            add(word);
        }
        quint64 tail = 0;
        for (qsizetype shift = 0; i < size; ++i, shift += 16) tail |= quint64(units[i].unicode()) << shift;
        add(tail);
    }
    quint64 finish() const {
        quint64 x = state_;
        x ^= x >> 33;
        x *= 0xff51afd7ed558ccdULL;
        x ^= x >> 33;
        x *= 0xc4ceb9fe1a85ec53ULL;
        return x ^ (x >> 33);
    }

private:
    quint64 state_ = 0xcbf29ce484222325ULL;
};

}  // namespace

void Index::add(const TrackRef& track) {
    QSet<QString> found;
    for (const QString& text : indexTexts(*track)) insertTokens(text, found);
    for (const QString& token : found) occurences[token].append(track);
}

quint64 indexTextsDigest(const Track& track) {
    return indexTextsDigest(track.path, track.title, track.artist, track.album);
}

quint64 indexTextsDigest(QStringView path, QStringView title, QStringView artist, QStringView album) {
    Digest digest;
    digest.add(kTokenizerRules);
    // Each text's length first: "ab" + "c" and "a" + "bc" differ.
    // The texts of indexTexts, without making its list.
    for (const QStringView text : {path, title, artist, album}) {
        if (text.isEmpty()) continue;
        digest.add(quint64(text.size()) | (quint64(1) << 63));
        digest.add(text);
    }
    return digest.finish();
}

}  // namespace sonvale
