#include "MP4DecoderConfig.h"

#include <algorithm>
#include <iterator>

namespace sonvale {

namespace {

enum Tag : uint8_t { ESDescriptor = 3, DecoderConfigDescriptor = 4, DecoderSpecificInfo = 5 };
enum ObjectType : uint32_t { AacMain = 1, AacLc = 2, AacSsr = 3, AacLtp = 4, Sbr = 5, AacScalable = 6,
                             TwinVq = 7, Ps = 29, Escape = 31 };
constexpr uint8_t kMpeg4Audio = 0x40;
constexpr uint8_t kMpeg2AacFirst = 0x66;
constexpr uint8_t kMpeg2AacLast = 0x68;
constexpr int kMaxDescriptors = 16;
constexpr uint32_t kSbrSync = 0x2B7;
constexpr uint32_t kPsSync = 0x548;
constexpr qint64 kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};

// Most significant bit first, over a view; reading past the end yields nothing.
class BitReader {
public:
    explicit BitReader(ByteView bytes) : bytes_(bytes) {}

    qint64 left() const { return bytes_.size() * 8 - position_; }

    std::optional<uint32_t> read(int count) {
        if (count > 32 || left() < count) return std::nullopt;
        uint32_t value = 0;
        for (int i = 0; i < count; ++i, ++position_) {
            const uint8_t byte = *bytes_.u8(position_ / 8);
            value = (value << 1) | ((byte >> (7 - position_ % 8)) & 1);
        }
        return value;
    }

private:
    ByteView bytes_;
    qint64 position_ = 0;
};

struct Descriptor {
    uint8_t tag = 0;
    ByteView body;
    qint64 next = 0;
};

// A descriptor at `p`: a tag, a length of one to four bytes of seven bits each, the body.
// Writers disagree about lengths, so a body that overruns its container is cut to fit.
std::optional<Descriptor> readDescriptor(ByteView bytes, qint64 p) {
    const auto tag = bytes.u8(p);
    if (!tag) return std::nullopt;
    qint64 length = 0;
    qint64 q = p + 1;
    for (int i = 0; i < 4; ++i) {
        const auto byte = bytes.u8(q++);
        if (!byte) return std::nullopt;
        length = (length << 7) | (*byte & 0x7F);
        if (!(*byte & 0x80)) break;
    }
    length = std::min(length, bytes.size() - q);
    return Descriptor{*tag, *bytes.sub(q, length), q + length};
}

std::optional<ByteView> findDescriptor(ByteView bytes, qint64 from, uint8_t tag) {
    qint64 p = from;
    for (int i = 0; i < kMaxDescriptors; ++i) {
        const auto descriptor = readDescriptor(bytes, p);
        if (!descriptor) return std::nullopt;
        if (descriptor->tag == tag) return descriptor->body;
        p = descriptor->next;
    }
    return std::nullopt;
}

// The ES descriptor's fixed part: ES id, flags, then the optional fields the flags announce.
std::optional<qint64> esDescriptorHeader(ByteView es) {
    const auto flags = es.u8(2);
    if (!flags) return std::nullopt;
    qint64 p = 3;
    if (*flags & 0x80) p += 2;  // depends-on ES id
    if (*flags & 0x40) {        // URL
        const auto length = es.u8(p);
        if (!length) return std::nullopt;
        p += 1 + *length;
    }
    if (*flags & 0x20) p += 2;  // OCR ES id
    return p;
}

std::optional<uint32_t> objectType(BitReader& bits) {
    const auto type = bits.read(5);
    if (!type || *type != Escape) return type;
    const auto extended = bits.read(6);
    return extended ? std::optional<uint32_t>(32 + *extended) : std::nullopt;
}

std::optional<qint64> samplingFrequency(BitReader& bits) {
    const auto index = bits.read(4);
    if (!index) return std::nullopt;
    if (*index == 15) return bits.read(24);
    return *index < std::size(kRates) ? kRates[*index] : 0;
}

// GASpecificConfig of the plain AAC object types, so that the backward-compatible SBR and PS
// signalling behind it can be found. Not attempted for a program config element.
bool skipGASpecificConfig(BitReader& bits, uint32_t type) {
    const auto flags = bits.read(2);  // frame length, depends on core coder
    if (!flags || ((*flags & 1) && !bits.read(14))) return false;
    const auto extension = bits.read(1);
    if (!extension) return false;
    if (type == AacScalable && !bits.read(3)) return false;
    return !*extension || bits.read(1).has_value();
}

}  // namespace

void MP4DecoderConfig::readAudioSpecificConfig(ByteView config, MP4DecoderConfig& out) {
    BitReader bits(config);
    auto type = objectType(bits);
    const auto rate = samplingFrequency(bits);
    const auto channelConfig = bits.read(4);
    if (!type || !rate || !channelConfig) return;
    out.sampleRate = *rate;
    out.channels = *channelConfig == 7 ? 8 : (*channelConfig <= 6 ? *channelConfig : 0);
    if (*type == Sbr || *type == Ps) {
        // Explicit signalling: the output rate, then the underlying object type.
        if (const auto extended = samplingFrequency(bits)) out.sampleRate = *extended;
        if (*type == Ps) out.channels = 2;
        return;
    }
    const bool plain = *type == AacMain || *type == AacLc || *type == AacSsr || *type == AacLtp ||
                       *type == AacScalable || *type == TwinVq;
    if (!plain || *channelConfig == 0 || !skipGASpecificConfig(bits, *type)) return;
    if (bits.left() < 16 || bits.read(11) != kSbrSync || bits.read(5) != Sbr) return;
    if (bits.read(1) != 1u) return;
    if (const auto extended = samplingFrequency(bits)) out.sampleRate = *extended;
    if (bits.left() >= 12 && bits.read(11) == kPsSync && bits.read(1) == 1u) out.channels = 2;
}

std::optional<MP4DecoderConfig> MP4DecoderConfig::read(ByteView esds) {
    const auto body = esds.from(4);
    if (!body) return std::nullopt;
    const auto es = findDescriptor(*body, 0, ESDescriptor);
    if (!es) return std::nullopt;
    const auto header = esDescriptorHeader(*es);
    if (!header) return std::nullopt;
    const auto decoder = findDescriptor(*es, *header, DecoderConfigDescriptor);
    if (!decoder) return std::nullopt;
    // Object type, stream type, 24-bit buffer size, then the two bit rates.
    const auto maxBitrate = decoder->be32(5);
    const auto avgBitrate = decoder->be32(9);
    if (!maxBitrate || !avgBitrate) return std::nullopt;
    MP4DecoderConfig config;
    config.maxBitrate = *maxBitrate;
    config.avgBitrate = *avgBitrate;
    // The AudioSpecificConfig belongs to MPEG-4 audio and the MPEG-2 AAC profiles only.
    const uint8_t indication = *decoder->u8(0);
    const bool aac = indication == kMpeg4Audio || (indication >= kMpeg2AacFirst && indication <= kMpeg2AacLast);
    const auto specific = aac ? findDescriptor(*decoder, 13, DecoderSpecificInfo) : std::nullopt;
    if (specific) {
        readAudioSpecificConfig(*specific, config);
    }
    return config;
}

}  // namespace sonvale
