#include "MP4AudioEntry.h"

#include "MP4Atom.h"
#include "MP4DecoderConfig.h"

#include <bit>
#include <cmath>

namespace sonvale {

namespace {

// Offsets in a sound sample entry body: six reserved bytes and the data reference index,
// then version, revision, vendor, channels, sample size, compression id, packet size and
// the 16.16 sample rate. QuickTime version 1 adds 16 bytes, version 2 adds 36 bytes and keeps
// the real rate (a 64-bit float) and channel count there.
constexpr qint64 kVersion = 8;
constexpr qint64 kChannels = 16;
constexpr qint64 kRate = 24;
constexpr qint64 kChildren = 28;
constexpr qint64 kVersion2Rate = 32;
constexpr qint64 kVersion2Channels = 40;
constexpr double kMaxRate = 1e7;
constexpr qint64 kOpusRate = 48000;

// A configuration atom of the entry; QuickTime files may wrap it in a `wave` atom.
std::optional<ByteView> config(ByteView children, uint32_t type) {
    if (auto direct = MP4Atoms::child(children, type)) return direct;
    if (const auto wave = MP4Atoms::child(children, atomType("wave"))) return MP4Atoms::child(*wave, type);
    return std::nullopt;
}

void applyEsds(ByteView esds, qint64 entryRate, MP4AudioEntry& out) {
    const auto decoder = MP4DecoderConfig::read(esds);
    if (!decoder) return;
    const uint32_t declared = decoder->avgBitrate != 0 ? decoder->avgBitrate : decoder->maxBitrate;
    if (declared > 0) out.bitRate = declared;
    // A sample entry at twice the core rate means implicitly signalled SBR; the entry is right
    // then. Its channel count is not to be trusted: writers put 2 there for mono streams.
    if (decoder->sampleRate > 0 && entryRate != 2 * decoder->sampleRate) out.sampleRate = decoder->sampleRate;
    if (decoder->channels > 0) out.channels = decoder->channels;
}

// ALACSpecificConfig after version and flags: frame length (32), compatible version, bit
// depth, pb, mb, kb, channels (8 bits each), max run (16), max frame bytes, average bit rate
// and sample rate (32 each).
void applyAlac(ByteView cookie, MP4AudioEntry& out) {
    const qint64 base = cookie.size() >= 28 ? 4 : 0;
    const auto channels = cookie.u8(base + 9);
    const auto bitRate = cookie.be32(base + 16);
    const auto rate = cookie.be32(base + 20);
    if (!channels || !bitRate || !rate) return;
    if (*channels > 0) out.channels = *channels;
    if (*bitRate > 0) out.bitRate = *bitRate;
    if (*rate > 0) out.sampleRate = *rate;
}

// dfLa: version and flags, then FLAC metadata blocks, STREAMINFO first.
void applyDfLa(ByteView dfla, MP4AudioEntry& out) {
    const auto blockType = dfla.u8(4);
    const auto info = dfla.sub(8, 18);
    if (!blockType || (*blockType & 0x7F) != 0 || !info) return;
    const qint64 rate = (qint64(*info->u8(10)) << 12) | (qint64(*info->u8(11)) << 4) | (*info->u8(12) >> 4);
    if (rate > 0) out.sampleRate = rate;
    out.channels = ((*info->u8(12) >> 1) & 0x07) + 1;
}

void applyBtrt(ByteView btrt, MP4AudioEntry& out) {
    // Buffer size, maximum and average bit rate.
    const auto maxRate = btrt.be32(4);
    const auto avgRate = btrt.be32(8);
    if (!maxRate || !avgRate) return;
    if (*avgRate > 0 || *maxRate > 0) out.bitRate = *avgRate != 0 ? *avgRate : *maxRate;
}

}  // namespace

std::optional<MP4AudioEntry> MP4AudioEntry::read(ByteView stbl) {
    const auto stsd = MP4Atoms::child(stbl, atomType("stsd"));
    if (!stsd || !stsd->from(8)) return std::nullopt;
    // Version and flags and the entry count precede the entries.
    const ByteView entries = *stsd->from(8);
    const MP4AtomList list = MP4Atoms::children(entries);
    if (list.isEmpty()) return std::nullopt;
    const MP4Atom& first = list.first();
    const ByteView entry = *entries.sub(first.offset, first.size);
    const auto version = entry.be16(kVersion);
    const auto channels = entry.be16(kChannels);
    const auto rate = entry.be32(kRate);
    if (!version || !channels || !rate) return std::nullopt;

    MP4AudioEntry out;
    out.channels = *channels;
    out.sampleRate = *rate >> 16;
    qint64 childOffset = kChildren;
    if (*version == 1) childOffset += 16;
    if (*version == 2) {
        childOffset += 36;
        const auto rate2 = entry.be64(kVersion2Rate);
        const auto channels2 = entry.be32(kVersion2Channels);
        if (!rate2 || !channels2) return std::nullopt;
        const double exact = std::bit_cast<double>(*rate2);
        out.sampleRate = std::isfinite(exact) && exact > 0 && exact < kMaxRate ? qint64(exact) : 0;
        out.channels = *channels2;
    }
    const qint64 entryRate = out.sampleRate;
    const ByteView children = entry.from(childOffset).value_or(ByteView{});

    if (const auto btrt = MP4Atoms::child(children, atomType("btrt"))) applyBtrt(*btrt, out);
    switch (first.type) {
    case atomType("mp4a"):
        if (const auto esds = config(children, atomType("esds"))) applyEsds(*esds, entryRate, out);
        break;
    case atomType("alac"):
        if (const auto cookie = config(children, atomType("alac"))) applyAlac(*cookie, out);
        break;
    case atomType("fLaC"):
        if (const auto dfla = MP4Atoms::child(children, atomType("dfLa"))) applyDfLa(*dfla, out);
        break;
    case atomType("Opus"):
        // Opus always decodes at 48 kHz; dOps holds the output channel count.
        out.sampleRate = kOpusRate;
        if (const auto dops = MP4Atoms::child(children, atomType("dOps"))) {
            if (const auto count = dops->u8(1); count && *count > 0) out.channels = *count;
        }
        break;
    default:
        break;
    }
    return out;
}

}  // namespace sonvale
