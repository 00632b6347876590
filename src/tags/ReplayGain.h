#pragma once

#include <QByteArrayView>

#include <optional>

namespace sonvale {

// The loudness values a file's tags give for playback: the gain that brings the track (or its
// album) to the ReplayGain reference loudness, in dB, and the highest sample as a fraction of
// full scale. Each is absent when the file does not give it or gives a value beyond reason.
struct ReplayGain {
    std::optional<float> trackGain = std::nullopt;
    std::optional<float> trackPeak = std::nullopt;
    std::optional<float> albumGain = std::nullopt;
    std::optional<float> albumPeak = std::nullopt;

    bool empty() const { return !trackGain && !trackPeak && !albumGain && !albumPeak; }
    // Takes each value this record lacks from `other`: how a secondary tag fills in.
    void fillMissing(const ReplayGain& other);
    bool operator==(const ReplayGain&) const = default;
};

// Gathers a ReplayGain record from the (name, value) tags of one tag block, in file order:
// REPLAYGAIN_TRACK_GAIN, REPLAYGAIN_TRACK_PEAK, REPLAYGAIN_ALBUM_GAIN, REPLAYGAIN_ALBUM_PEAK and
// the Opus-style R128_TRACK_GAIN and R128_ALBUM_GAIN, names compared without regard to ASCII
// case. The first usable value of each name wins; a REPLAYGAIN_* gain wins over the R128_* one
// whatever their order. Values that cannot be read are passed over. Pure; any thread.
class ReplayGainTags {
public:
    // Whether `name` is one of the names above, so that its value is worth decoding.
    static bool isGainName(QByteArrayView name);

    // `name` and `value` in UTF-8 (ASCII in practice).
    void offer(QByteArrayView name, QByteArrayView value);
    ReplayGain result() const;

    // "-6.02 dB", "+3.1 dB", "-6.02", "3,5 dB": the gain in dB; nothing beyond ±64 dB.
    static std::optional<float> parseGain(QByteArrayView value);
    // A plain number above 0 and at most 100 (float files may peak above full scale).
    static std::optional<float> parsePeak(QByteArrayView value);
    // A signed Q7.8 integer (dB × 256) relative to -23 LUFS, as a gain to the ReplayGain
    // reference.
    static std::optional<float> parseR128Gain(QByteArrayView value);

private:
    ReplayGain gain_;
    std::optional<float> r128Track_;
    std::optional<float> r128Album_;
};

}  // namespace sonvale
