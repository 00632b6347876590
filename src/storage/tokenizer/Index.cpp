#include "Index.h"

#include "Indexable.h"
#include "Tokenizer.h"

#include <QSet>

namespace sonvale {

namespace {

// Moves on whenever tokens() gives different tokens for some text, so that digests stored by
// an older build no longer match.
constexpr quint64 kTokenizerRules = 1;

// FNV-1a over 16-bit units, then a final mix so that every input bit reaches every output bit.
class Digest {
public:
    void add(quint64 unit) {
        state_ ^= unit;
        state_ *= 0x100000001b3ULL;
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
    Digest digest;
    digest.add(kTokenizerRules);
    // Each text's length first: "ab" + "c" and "a" + "bc" differ.
    for (const QString& text : indexTexts(track)) {
        digest.add(quint64(text.size()) | (quint64(1) << 63));
        for (const QChar unit : text) digest.add(unit.unicode());
    }
    return digest.finish();
}

}  // namespace sonvale
