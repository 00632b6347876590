#pragma once

#include "AudioInfo.h"
#include "ByteView.h"
#include "ReplayGain.h"

#include <QByteArray>

#include <optional>

namespace sonvale {

// Reads the iTunes-style item list (the body of moov/udta/meta/ilst): one atom per item,
// holding one or more `data` atoms (type indicator, locale, value). Stateless and thread-safe;
// malformed items are skipped.
class MP4ItemList {
public:
    // Title, artists (every value, in order), album, track number, genre (a text genre wins
    // over a numeric ID3v1 one) and lyrics.
    static AudioTags readTags(ByteView ilst);
    // Offers a freeform item ("----": mean, name, data; the body of the item) to `tags` under its
    // name, with its first text value. The mean (usually "com.apple.iTunes") is not checked:
    // writers differ in it, the name alone says what the value is.
    static void offerFreeform(ByteView item, ReplayGainTags& tags);
    // The bytes of the first non-empty value of the cover item.
    static std::optional<QByteArray> firstCover(ByteView ilst);
    // The same picture as a view into `ilst`, for callers that only need to know of it.
    static std::optional<ByteView> firstCoverView(ByteView ilst);
};

}  // namespace sonvale
