#include "MonitorRecorder.h"

#include "EventLoop.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr int kBlock = MonitorRecorder::kRate / 100;  // 10 ms
constexpr int kLoud = 300;
constexpr int kQuiet = 100;

}  // namespace

MonitorRecorder::MonitorRecorder(const QString& sink) {
    process_.start(QStringLiteral("parec"), {QStringLiteral("-d"), sink + QStringLiteral(".monitor"),
                                             QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
                                             QStringLiteral("--rate=44100"), QStringLiteral("--channels=1"),
                                             QStringLiteral("--latency-msec=10")});
    process_.waitForStarted();
    // The monitor carries silence while nothing plays: once it flows, the recording runs.
    spinUntil([this] { return !process_.readAllStandardOutput().isEmpty(); }, 5);
}

MonitorRecorder::~MonitorRecorder() {
    process_.kill();
    process_.waitForFinished();
}

void MonitorRecorder::drain() { data_ += process_.readAllStandardOutput(); }

std::vector<double> MonitorRecorder::loudBlocks() {
    drain();
    const std::int16_t* s = samples();
    std::vector<double> out;
    for (std::int64_t b = 0; (b + 1) * kBlock <= count(); ++b) {
        double sum = 0;
        for (int i = 0; i < kBlock; ++i) sum += double(s[b * kBlock + i]) * s[b * kBlock + i];
        const double rms = std::sqrt(sum / kBlock);
        if (rms > kLoud) out.push_back(rms);
    }
    return out;
}

double MonitorRecorder::heard() { return static_cast<double>(loudBlocks().size()) / 100.0; }

double MonitorRecorder::loudness(double from, double to) {
    const std::vector<double> rms = loudBlocks();
    double sum = 0;
    int n = 0;
    for (auto i = static_cast<std::size_t>(from * 100); i < rms.size() && i < to * 100; ++i, ++n) sum += rms[i];
    return n ? sum / n : 0;
}

std::pair<std::int64_t, std::int64_t> MonitorRecorder::loudSpan() {
    drain();
    const std::int16_t* s = samples();
    std::int64_t first = -1;
    std::int64_t last = -1;
    for (std::int64_t i = 0; i < count(); ++i) {
        if (std::abs(s[i]) <= kLoud) continue;
        if (first < 0) first = i;
        last = i;
    }
    return {first, last};
}

double MonitorRecorder::frequency() {
    const auto [first, last] = loudSpan();
    const std::int16_t* s = samples();
    int crossings = 0;
    for (std::int64_t i = first + 1; first >= 0 && i <= last; ++i)
        if ((s[i - 1] < 0) != (s[i] < 0)) ++crossings;
    return last > first ? crossings / 2.0 / (static_cast<double>(last - first) / kRate) : 0;
}

bool MonitorRecorder::silentFor(double seconds) {
    const auto [first, last] = loudSpan();
    return first >= 0 && count() - last > static_cast<std::int64_t>(seconds * kRate);
}

int MonitorRecorder::peak(std::int64_t from, std::int64_t to) {
    const auto [first, last] = loudSpan();
    if (first < 0) return 0;
    const std::int16_t* s = samples();
    int top = 0;
    for (std::int64_t i = std::max<std::int64_t>(0, first + from); i < std::min(count(), first + to); ++i)
        top = std::max(top, std::abs(int(s[i])));
    return top;
}

MonitorRecorder::Continuity MonitorRecorder::continuity(double frequency) {
    const auto [first, last] = loudSpan();
    Continuity c;
    if (first < 0) return c;
    const std::int16_t* s = samples();
    c.frames = last - first + 1;
    std::int64_t run = 0;
    std::int64_t longest = 0;
    for (std::int64_t i = first; i <= last; ++i) {
        run = std::abs(s[i]) < kQuiet ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    c.longestGapMs = 1000.0 * static_cast<double>(longest) / kRate;
    // The tone's phase in Hann-windowed stretches, each against sample `first`: a lost or
    // doubled sample shifts every later stretch by a sample's worth of phase, a gap by more.
    constexpr std::int64_t kWindow = 2048;
    const double w = 2 * std::numbers::pi * frequency / kRate;
    double reference = NAN;
    for (std::int64_t start = first + 256; start + kWindow < last - 256; start += kWindow / 2) {
        double re = 0;
        double im = 0;
        for (std::int64_t i = 0; i < kWindow; ++i) {
            const double hann = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / kWindow);
            const double phase = w * static_cast<double>(start + i - first);
            re += hann * s[start + i] * std::sin(phase);
            im += hann * s[start + i] * std::cos(phase);
        }
        const double degrees = std::atan2(im, re) * 180 / std::numbers::pi;
        if (std::isnan(reference)) reference = degrees;
        double shift = std::fmod(std::abs(degrees - reference), 360.0);
        shift = std::min(shift, 360 - shift);
        c.largestPhaseShift = std::max(c.largestPhaseShift, shift);
    }
    return c;
}
