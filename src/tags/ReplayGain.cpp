#include "ReplayGain.h"

#include <QByteArray>

#include <cmath>
#include <cstdint>
#include <limits>

namespace sonvale {

namespace {

// No real gain comes near this; a larger one is a broken tag, not a quiet track.
constexpr double kMaxGain = 64.0;
constexpr double kMaxPeak = 100.0;
// R128 gains are stored relative to -23 LUFS; ReplayGain 2 plays at -18 LUFS, 5 dB louder.
constexpr double kR128ToReplayGain = 5.0;

bool nameIs(QByteArrayView name, QByteArrayView upper) {
    return name.size() == upper.size() && qstrnicmp(name.data(), name.size(), upper.data(), upper.size()) == 0;
}

QByteArrayView trimmed(QByteArrayView text) {
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\0'; };
    while (!text.isEmpty() && blank(text.front())) text = text.sliced(1);
    while (!text.isEmpty() && blank(text.back())) text.chop(1);
    return text;
}

// A decimal number, with a comma accepted as the decimal mark (some taggers follow the locale).
std::optional<double> number(QByteArrayView text) {
    text = trimmed(text);
    if (text.isEmpty()) return std::nullopt;
    QByteArray copy = text.toByteArray();
    if (!copy.contains('.')) copy.replace(',', '.');
    bool ok = false;
    const double value = copy.toDouble(&ok);
    if (!ok || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<float> gainInRange(double gain) {
    if (!(std::abs(gain) <= kMaxGain)) return std::nullopt;
    return float(gain);
}

void offerTo(std::optional<float>& field, std::optional<float> value) {
    if (!field) field = value;
}

}  // namespace

void ReplayGain::fillMissing(const ReplayGain& other) {
    offerTo(trackGain, other.trackGain);
    offerTo(trackPeak, other.trackPeak);
    offerTo(albumGain, other.albumGain);
    offerTo(albumPeak, other.albumPeak);
}

bool ReplayGainTags::isGainName(QByteArrayView name) {
    for (const QByteArrayView known : {"REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_TRACK_PEAK", "REPLAYGAIN_ALBUM_GAIN",
                                       "REPLAYGAIN_ALBUM_PEAK", "R128_TRACK_GAIN", "R128_ALBUM_GAIN"}) {
        if (nameIs(name, known)) return true;
    }
    return false;
}

void ReplayGainTags::offer(QByteArrayView name, QByteArrayView value) {
    if (nameIs(name, "REPLAYGAIN_TRACK_GAIN")) offerTo(gain_.trackGain, parseGain(value));
    else if (nameIs(name, "REPLAYGAIN_TRACK_PEAK")) offerTo(gain_.trackPeak, parsePeak(value));
    else if (nameIs(name, "REPLAYGAIN_ALBUM_GAIN")) offerTo(gain_.albumGain, parseGain(value));
    else if (nameIs(name, "REPLAYGAIN_ALBUM_PEAK")) offerTo(gain_.albumPeak, parsePeak(value));
    else if (nameIs(name, "R128_TRACK_GAIN")) offerTo(r128Track_, parseR128Gain(value));
    else if (nameIs(name, "R128_ALBUM_GAIN")) offerTo(r128Album_, parseR128Gain(value));
}

ReplayGain ReplayGainTags::result() const {
    ReplayGain gain = gain_;
    offerTo(gain.trackGain, r128Track_);
    offerTo(gain.albumGain, r128Album_);
    return gain;
}

std::optional<float> ReplayGainTags::parseGain(QByteArrayView value) {
    value = trimmed(value);
    if (value.size() >= 2 && qstrnicmp(value.data() + value.size() - 2, 2, "dB", 2) == 0) value.chop(2);
    const auto gain = number(value);
    return gain ? gainInRange(*gain) : std::nullopt;
}

std::optional<float> ReplayGainTags::parsePeak(QByteArrayView value) {
    const auto peak = number(value);
    if (!peak || *peak <= 0 || *peak > kMaxPeak) return std::nullopt;
    return float(*peak);
}

std::optional<float> ReplayGainTags::parseR128Gain(QByteArrayView value) {
    value = trimmed(value);
    bool ok = false;
    const qlonglong q78 = value.toLongLong(&ok);
    if (!ok || q78 < std::numeric_limits<int16_t>::min() || q78 > std::numeric_limits<int16_t>::max()) {
        return std::nullopt;
    }
    return gainInRange(double(q78) / 256.0 + kR128ToReplayGain);
}

}  // namespace sonvale
