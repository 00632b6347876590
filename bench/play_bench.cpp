// Audio engine costs on the sound server's default output: CPU time of the whole process
// (main, decoder and audio threads) per second of playback with the next file prepared, and
// the latency from a request to the first samples handed to the output, for starting a track,
// changing tracks and seeking, and from a change of track to the new track heard (the stream's
// played position moving). Then the silence at a change between two files of the same format,
// measured in the default output's recorded monitor: the next file opened when the first has
// finished, and prepared ahead (gapless). Uses the engine's firstOutputTime() diagnostic.
// Prints markdown tables.
//
//   play_bench [--seconds 10] [--repeat 20] [--formats flac,mp3,m4a] [--keep]
//
// Needs a PulseAudio server: run it through scripts/with-pulseaudio.sh.

#include "AudioEngine.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using sonvale::AudioEngine;

constexpr int kFileSeconds = 25;
// Longest wait for the first samples after a request.
constexpr auto kOutputTimeout = std::chrono::seconds(5);

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : fallback;
}

struct Format {
    QString extension;
    QStringList codec;
};

std::optional<Format> formatNamed(const QString& name) {
    if (name == QLatin1String("flac")) return Format{name, {QStringLiteral("-c:a"), QStringLiteral("flac")}};
    if (name == QLatin1String("mp3"))
        return Format{name, {QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), QStringLiteral("-b:a"),
                             QStringLiteral("192k")}};
    if (name == QLatin1String("m4a"))
        return Format{name, {QStringLiteral("-c:a"), QStringLiteral("aac"), QStringLiteral("-b:a"), QStringLiteral("256k")}};
    return std::nullopt;
}

// Runs ffmpeg quietly with `args`, overwriting its output; whether it succeeded.
bool runFfmpeg(const QStringList& args) {
    QProcess ffmpeg;
    ffmpeg.setProcessChannelMode(QProcess::ForwardedChannels);
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 QStringList{QStringLiteral("-nostdin"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                             QStringLiteral("-y")} +
                     args);
    return ffmpeg.waitForFinished(120000) && ffmpeg.exitStatus() == QProcess::NormalExit && ffmpeg.exitCode() == 0;
}

// Pink noise under a slowly wavering chord, 44.1 kHz stereo: busy enough that the codecs work
// as they would on music.
bool makeFile(const QString& path, const Format& format) {
    const QString seconds = QString::number(kFileSeconds);
    const QString chord = QStringLiteral(
        "aevalsrc=0.15*sin(2*PI*220*t)+0.1*sin(2*PI*277.2*t*(1+0.002*sin(2*PI*0.3*t)))+0.1*sin(2*PI*329.6*t)"
        "|0.15*sin(2*PI*220.5*t)+0.1*sin(2*PI*329.6*t)+0.08*sin(2*PI*440*t*(1+0.003*sin(2*PI*0.7*t)))"
        ":s=44100:d=%1").arg(seconds);
    QStringList args{QStringLiteral("-f"), QStringLiteral("lavfi"),
                     QStringLiteral("-i"), QStringLiteral("anoisesrc=c=pink:r=44100:a=0.15:d=%1").arg(seconds),
                     QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), chord,
                     QStringLiteral("-filter_complex"),
                     QStringLiteral("[0][1]amix=inputs=2:normalize=0,aformat=sample_rates=44100:channel_layouts=stereo")};
    return runFfmpeg(args << format.codec << path);
}

// Runs the event loop (blocking in it, so that the benchmark's own thread costs nothing).
void runEvents(std::chrono::milliseconds duration) {
    QEventLoop loop;
    QTimer::singleShot(duration, &loop, &QEventLoop::quit);
    loop.exec();
}

// Milliseconds from `since` to the engine's first samples; nullopt on timeout. Polls the
// diagnostic, which carries its own time stamp, so the polling step does not add to the result.
std::optional<double> waitForOutput(AudioEngine& engine, Clock::time_point since) {
    while (!engine.firstOutputTime()) {
        if (Clock::now() - since > kOutputTimeout) return std::nullopt;
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return std::chrono::duration<double, std::milli>(*engine.firstOutputTime() - since).count();
}

struct Usage {
    double cpuSeconds = 0;
    long voluntarySwitches = 0;
};

Usage processUsage() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& tv) { return static_cast<double>(tv.tv_sec) + static_cast<double>(tv.tv_usec) / 1e6; };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw};
}

struct Percentiles {
    double p50 = 0;
    double p95 = 0;
    int failures = 0;
};

Percentiles percentiles(std::vector<double> values, int failures) {
    Percentiles p;
    p.failures = failures;
    if (values.empty()) return p;
    std::sort(values.begin(), values.end());
    auto at = [&](double q) { return values[static_cast<std::size_t>(q * static_cast<double>(values.size() - 1) + 0.5)]; };
    p.p50 = at(0.50);
    p.p95 = at(0.95);
    return p;
}

struct Result {
    double cpuPercent = 0;
    double cpuPercentAlone = 0;  // without a next file prepared or a gain
    double wakeupsPerSecond = 0;
    Percentiles start;
    Percentiles change;
    Percentiles heard;
    Percentiles seek;
};

// Records the default output's monitor as mono 16-bit samples at 44.1 kHz. While it runs the
// test server's null sink renders in small blocks, as a sound card would.
class Monitor {
public:
    Monitor() {
        process_.start(QStringLiteral("parec"), {QStringLiteral("-d"), QStringLiteral("@DEFAULT_MONITOR@"),
                                                 QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
                                                 QStringLiteral("--rate=44100"), QStringLiteral("--channels=1"),
                                                 QStringLiteral("--latency-msec=10")});
        process_.waitForStarted();
    }
    ~Monitor() {
        process_.kill();
        process_.waitForFinished();
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    void clear() {
        QCoreApplication::processEvents();
        process_.readAllStandardOutput();
        data_.clear();
    }
    // The longest run of near-silence between the first and the last loud sample, in samples;
    // -1 when nothing loud was heard.
    qint64 longestGap() {
        data_ += process_.readAllStandardOutput();
        const auto* s = reinterpret_cast<const qint16*>(data_.constData());
        const qsizetype n = data_.size() / 2;
        qsizetype first = -1;
        qsizetype last = -1;
        for (qsizetype i = 0; i < n; ++i) {
            if (std::abs(s[i]) <= 300) continue;
            if (first < 0) first = i;
            last = i;
        }
        if (first < 0) return -1;
        qint64 run = 0;
        qint64 longest = 0;
        for (qsizetype i = first; i <= last; ++i) {
            run = std::abs(s[i]) < 100 ? run + 1 : 0;
            longest = std::max(longest, run);
        }
        return longest;
    }

private:
    QProcess process_;
    QByteArray data_;
};

// A 441 Hz sine of whole periods, so that two of them in a row are one continuous sine.
bool makeTone(const QString& path, const Format& format) {
    QStringList args{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                     QStringLiteral("aevalsrc=0.5*sin(2*PI*441*t)|0.5*sin(2*PI*441*t):s=44100:d=2")};
    return runFfmpeg(args << format.codec << path);
}

// Plays `tone` twice in a row, the second time either opened when the first has finished or
// prepared ahead; the longest silence heard in between, in samples.
qint64 measureGap(const QString& tone, bool gapless, Monitor& monitor) {
    AudioEngine engine;
    bool done = false;
    int ends = 0;
    engine.onFinished = [&] {
        if (++ends == 1 && !gapless && engine.open(tone)) engine.play();
        else done = true;
    };
    engine.onAdvanced = [&] { ++ends; };
    if (!engine.open(tone)) return -1;
    if (gapless && !engine.prepareNext(tone)) return -1;
    monitor.clear();
    engine.play();
    const Clock::time_point since = Clock::now();
    while (!done && Clock::now() - since < std::chrono::seconds(15)) runEvents(std::chrono::milliseconds(50));
    runEvents(std::chrono::milliseconds(300));
    return done ? monitor.longestGap() : -1;
}

// Plays `seconds` from the start after a one-second warm-up and returns the CPU share: with the
// file prepared to follow itself and a ReplayGain of -6 dB on both, or plain.
bool measureCpu(const QString& path, int seconds, bool prepared, Result& result) {
    constexpr float kReplayGain = 0.5f;
    AudioEngine engine;
    const float gain = prepared ? kReplayGain : 1.0f;
    if (!engine.open(path, nullptr, gain) || (prepared && !engine.prepareNext(path, gain))) return false;
    engine.play();
    if (!waitForOutput(engine, Clock::now())) return false;
    runEvents(std::chrono::milliseconds(1000));
    const Usage before = processUsage();
    const Clock::time_point from = Clock::now();
    runEvents(std::chrono::milliseconds(seconds * 1000));
    const Usage after = processUsage();
    const double wall = std::chrono::duration<double>(Clock::now() - from).count();
    if (!engine.isPlaying()) return false;
    (prepared ? result.cpuPercent : result.cpuPercentAlone) = 100.0 * (after.cpuSeconds - before.cpuSeconds) / wall;
    if (prepared) result.wakeupsPerSecond = static_cast<double>(after.voluntarySwitches - before.voluntarySwitches) / wall;
    return true;
}

// A new engine each time: open, then play, timed from play (the connection to the server
// included).
Percentiles measureStart(const QString& path, int repeat) {
    std::vector<double> values;
    int failures = 0;
    for (int i = 0; i < repeat; ++i) {
        AudioEngine engine;
        if (!engine.open(path)) {
            ++failures;
            continue;
        }
        const Clock::time_point since = Clock::now();
        engine.play();
        if (const auto ms = waitForOutput(engine, since)) values.push_back(*ms);
        else ++failures;
        runEvents(std::chrono::milliseconds(100));
    }
    return percentiles(std::move(values), failures);
}

// Waits until the stream's played position moves (what the server reports as heard); the
// milliseconds since `since`, or nullopt after the output timeout.
std::optional<double> waitUntilHeard(AudioEngine& engine, Clock::time_point since) {
    while (engine.elapsed() <= 0 && Clock::now() - since < kOutputTimeout) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (engine.elapsed() <= 0) return std::nullopt;
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

// One engine playing; open and play the file again (the next track), timed from open until
// `reached` says so: the first samples handed to the output, or the played position moving.
Percentiles measureChange(const QString& path, int repeat,
                          std::optional<double> (*reached)(AudioEngine&, Clock::time_point)) {
    std::vector<double> values;
    int failures = 0;
    AudioEngine engine;
    for (int i = 0; i < repeat; ++i) {
        const Clock::time_point since = Clock::now();
        if (!engine.open(path)) {
            ++failures;
            continue;
        }
        engine.play();
        if (const auto ms = reached(engine, since)) values.push_back(*ms);
        else ++failures;
        runEvents(std::chrono::milliseconds(300));
    }
    return percentiles(std::move(values), failures);
}

// Seeks to random positions while playing, timed from seek.
Percentiles measureSeek(const QString& path, int repeat) {
    std::vector<double> values;
    int failures = 0;
    AudioEngine engine;
    if (!engine.open(path)) return percentiles({}, repeat);
    engine.play();
    if (!waitForOutput(engine, Clock::now())) return percentiles({}, repeat);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> position(0.5, kFileSeconds - 2.0);
    for (int i = 0; i < repeat; ++i) {
        runEvents(std::chrono::milliseconds(300));
        const Clock::time_point since = Clock::now();
        engine.seek(position(random));
        if (const auto ms = waitForOutput(engine, since)) values.push_back(*ms);
        else ++failures;
    }
    return percentiles(std::move(values), failures);
}

QString cell(const Percentiles& p) {
    QString text = QStringLiteral("%1 / %2").arg(p.p50, 0, 'f', 1).arg(p.p95, 0, 'f', 1);
    if (p.failures > 0) text += QStringLiteral(" (%1 timed out)").arg(p.failures);
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int seconds = option(args, QStringLiteral("--seconds"), QStringLiteral("10")).toInt();
    const int repeat = option(args, QStringLiteral("--repeat"), QStringLiteral("20")).toInt();
    const QStringList names = option(args, QStringLiteral("--formats"), QStringLiteral("flac,mp3,m4a")).split(u',');
    if (seconds <= 0 || repeat <= 0) {
        std::fprintf(stderr, "play_bench: --seconds and --repeat take positive numbers\n");
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
        std::fprintf(stderr, "play_bench: PULSE_SERVER is not set; scripts/with-pulseaudio.sh gives a private server\n");

    QTemporaryDir dir(QDir::temp().filePath(QStringLiteral("sonvale-play-XXXXXX")));
    dir.setAutoRemove(!args.contains(QStringLiteral("--keep")));
    std::printf("| format | CPU %% of one core (gapless and ReplayGain / neither) | wake-ups/s | start p50 / p95 ms | track change p50 / p95 ms "
                "| change heard p50 / p95 ms | seek p50 / p95 ms |\n|---|---|---|---|---|---|---|\n");
    std::fflush(stdout);
    QStringList gaps;
    for (const QString& name : names) {
        const std::optional<Format> format = formatNamed(name);
        if (!format) {
            std::fprintf(stderr, "play_bench: unknown format %s\n", qUtf8Printable(name));
            return 2;
        }
        const QString path = dir.filePath(QStringLiteral("music.") + format->extension);
        if (!makeFile(path, *format)) {
            std::fprintf(stderr, "play_bench: ffmpeg could not make %s\n", qUtf8Printable(path));
            return 1;
        }
        Result result;
        if (!measureCpu(path, seconds, false, result) || !measureCpu(path, seconds, true, result)) {
            std::fprintf(stderr, "play_bench: %s did not play\n", qUtf8Printable(name));
            return 1;
        }
        result.start = measureStart(path, repeat);
        result.change = measureChange(path, repeat, waitForOutput);
        result.seek = measureSeek(path, repeat);
        // A null sink that nobody listens to renders in 2-second blocks; recorded, it plays in
        // real time as a sound card does (the recording's own costs stay out of the CPU figure).
        Monitor monitor;
        result.heard = measureChange(path, repeat, waitUntilHeard);
        std::printf("| %s | %.2f / %.2f | %.0f | %s | %s | %s | %s |\n", qUtf8Printable(name), result.cpuPercent,
                    result.cpuPercentAlone,
                    result.wakeupsPerSecond, qUtf8Printable(cell(result.start)), qUtf8Printable(cell(result.change)),
                    qUtf8Printable(cell(result.heard)), qUtf8Printable(cell(result.seek)));
        std::fflush(stdout);
        const QString tone = dir.filePath(QStringLiteral("tone.") + format->extension);
        if (!makeTone(tone, *format)) {
            std::fprintf(stderr, "play_bench: ffmpeg could not make %s\n", qUtf8Printable(tone));
            return 1;
        }
        gaps.append(QStringLiteral("| %1 | %2 | %3 |").arg(name).arg(measureGap(tone, false, monitor)).arg(measureGap(tone, true, monitor)));
    }
    std::printf("\n| format | silence at a track change, opened at the end (samples) | prepared ahead (samples) |\n"
                "|---|---|---|\n%s\n", qUtf8Printable(gaps.join(u'\n')));
    return 0;
}
