#include "AIFFReader.h"

#include <cmath>

namespace sonvale {

namespace {

constexpr qint64 kCommonBytes = 18;
constexpr qint64 kAifcCommonBytes = 22;
constexpr qint64 kSoundHeaderBytes = 8;  // offset and block size in front of the samples
constexpr qint64 kMaxTextBytes = 64 * 1024;
constexpr int kExponentBias = 16383;
constexpr int kMantissaBits = 63;
constexpr int kMaxRateExponent = 24;

// AIFC compression types whose samples are stored as they are, so the bit rate follows from
// the sample size; everything else is measured from the sound data.
bool isUncompressed(uint32_t type) {
    using C = RIFFChunks;
    for (const uint32_t code : {C::fourCC("NONE"), C::fourCC("twos"), C::fourCC("sowt"), C::fourCC("raw "),
                                C::fourCC("in24"), C::fourCC("in32"), C::fourCC("fl32"), C::fourCC("FL32"),
                                C::fourCC("fl64"), C::fourCC("FL64")}) {
        if (type == code) return true;
    }
    return false;
}

std::optional<QString> textChunk(const FileBytes& file, const RIFFForm& form, uint32_t id) {
    const RIFFChunk* chunk = form.first(id);
    if (!chunk || chunk->size < 1) return std::nullopt;
    const auto body = file.read(chunk->offset, std::min(chunk->size, kMaxTextBytes));
    if (!body) return std::nullopt;
    QString text = RIFFChunks::text(ByteView(*body));
    if (text.isEmpty()) return std::nullopt;
    return text;
}

// The bytes of sound data behind the SSND header and its offset field.
qint64 soundBytes(const FileBytes& file, const RIFFForm& form) {
    const RIFFChunk* ssnd = form.first(RIFFChunks::fourCC("SSND"));
    if (!ssnd || ssnd->size < kSoundHeaderBytes) return 0;
    const auto header = file.read(ssnd->offset, kSoundHeaderBytes);
    if (!header) return 0;
    return std::max<qint64>(0, ssnd->size - kSoundHeaderBytes - qint64(*ByteView(*header).be32(0)));
}

}  // namespace

std::optional<double> AIFFReader::sampleRate(ByteView bytes) {
    const auto signAndExponent = bytes.be16(0);
    const auto mantissa = bytes.be64(2);
    if (!signAndExponent || !mantissa || *mantissa == 0) return std::nullopt;
    if (*signAndExponent & 0x8000) return std::nullopt;
    // Rates from 1 Hz to 2^24 Hz have exponents 0 to 24 once unbiased; anything outside is no
    // sample rate, and the bound keeps ldexp and the bit rate products far from overflow.
    const int exponent = int(*signAndExponent) - kExponentBias;
    if (exponent < 0 || exponent > kMaxRateExponent) return std::nullopt;
    const double value = std::ldexp(double(*mantissa), exponent - kMantissaBits);
    if (!(value >= 1.0 && value <= std::ldexp(1.0, kMaxRateExponent))) return std::nullopt;
    return value;
}

std::optional<AIFFReader::Common> AIFFReader::parseCommon(ByteView body, bool aifc) {
    if (body.size() < kCommonBytes) return std::nullopt;
    Common common;
    common.channels = *body.be16(0);
    common.frames = *body.be32(2);
    common.sampleSize = *body.be16(6);
    const auto rate = sampleRate(*body.sub(8, 10));
    if (!rate || common.channels < 1) return std::nullopt;
    common.sampleRate = *rate;
    // A short AIFC COMM without its compression type is read as uncompressed.
    const uint32_t none = RIFFChunks::fourCC("NONE");
    common.compression = aifc ? body.be32(kCommonBytes).value_or(none) : none;
    return common;
}

std::optional<AudioInfo> AIFFReader::readInfo(const FileBytes& file, const RIFFForm& form) {
    const RIFFChunk* comm = form.first(RIFFChunks::fourCC("COMM"));
    if (!comm) return std::nullopt;
    const auto body = file.read(comm->offset, std::min(comm->size, kAifcCommonBytes));
    if (!body) return std::nullopt;
    const auto common = parseCommon(ByteView(*body), form.kind == RIFFForm::Aifc);
    if (!common) return std::nullopt;

    AudioInfo info;
    AudioProperties& props = info.properties;
    props.channels = common->channels;
    props.sampleRate = std::llround(common->sampleRate);
    props.duration = double(common->frames) / common->sampleRate;
    if (isUncompressed(common->compression)) {
        props.bitRate = std::llround(double(common->sampleSize) * common->channels * common->sampleRate);
    } else {
        props.bitRate = RIFFChunks::averageBitRate(soundBytes(file, form), props.duration);
    }

    info.tags.title = textChunk(file, form, RIFFChunks::fourCC("NAME"));
    if (const auto author = textChunk(file, form, RIFFChunks::fourCC("AUTH"))) info.tags.artists.append(*author);
    return info;
}

}  // namespace sonvale
