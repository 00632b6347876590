#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

#include <cstdint>
#include <vector>

// Records a sink's monitor of the private sound server (scripts/with-pulseaudio.sh) as mono
// 16-bit samples at 44.1 kHz and measures what was heard. Needs a running event loop
// (EventLoop.h) while it starts.
class MonitorRecorder {
public:
    static constexpr int kRate = 44100;

    explicit MonitorRecorder(const QString& sink);
    ~MonitorRecorder();
    MonitorRecorder(const MonitorRecorder&) = delete;
    MonitorRecorder& operator=(const MonitorRecorder&) = delete;

    // Seconds of tone heard so far (10 ms blocks that are not silent).
    double heard();
    // Mean RMS of the loud blocks in [from, to) seconds of tone.
    double loudness(double from, double to);
    // Frequency from the zero crossings between the first and the last loud sample.
    double frequency();
    // Whether tone was heard and then at least `seconds` of silence.
    bool silentFor(double seconds);

    // How a recorded sine tone held together, from its first to its last loud sample.
    struct Continuity {
        std::int64_t frames = 0;        // from the first to the last loud sample
        double longestGapMs = 0;        // the longest run of near-silence inside
        double largestPhaseShift = 0;   // degrees, against the tone's phase at its start
    };
    // For a sine of `frequency` Hz (both channels alike, a peak amplitude well above 1%).
    Continuity continuity(double frequency);
    // The largest magnitude in [from, to) samples after the first loud sample.
    int peak(std::int64_t from, std::int64_t to);

private:
    void drain();
    const std::int16_t* samples() const { return reinterpret_cast<const std::int16_t*>(data_.constData()); }
    std::int64_t count() const { return data_.size() / 2; }
    // The first and last loud sample, or -1.
    std::pair<std::int64_t, std::int64_t> loudSpan();
    std::vector<double> loudBlocks();

    QProcess process_;
    QByteArray data_;
};
