// Audio engine costs on the sound server's default output: CPU time of the whole process
// (main, decoder and audio threads) per second of playback, and the latency from a request to
// the first samples handed to the output, for starting a track, changing tracks and seeking.
// Uses the engine's firstOutputTime() diagnostic. Prints a markdown table.
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

// Pink noise under a slowly wavering chord, 44.1 kHz stereo: busy enough that the codecs work
// as they would on music.
bool makeFile(const QString& path, const Format& format) {
    const QString seconds = QString::number(kFileSeconds);
    const QString chord = QStringLiteral(
        "aevalsrc=0.15*sin(2*PI*220*t)+0.1*sin(2*PI*277.2*t*(1+0.002*sin(2*PI*0.3*t)))+0.1*sin(2*PI*329.6*t)"
        "|0.15*sin(2*PI*220.5*t)+0.1*sin(2*PI*329.6*t)+0.08*sin(2*PI*440*t*(1+0.003*sin(2*PI*0.7*t)))"
        ":s=44100:d=%1").arg(seconds);
    QStringList args{QStringLiteral("-nostdin"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                     QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                     QStringLiteral("-i"), QStringLiteral("anoisesrc=c=pink:r=44100:a=0.15:d=%1").arg(seconds),
                     QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), chord,
                     QStringLiteral("-filter_complex"),
                     QStringLiteral("[0][1]amix=inputs=2:normalize=0,aformat=sample_rates=44100:channel_layouts=stereo")};
    args << format.codec << path;
    QProcess ffmpeg;
    ffmpeg.setProcessChannelMode(QProcess::ForwardedChannels);
    ffmpeg.start(QStringLiteral("ffmpeg"), args);
    return ffmpeg.waitForFinished(120000) && ffmpeg.exitStatus() == QProcess::NormalExit && ffmpeg.exitCode() == 0;
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
    double wakeupsPerSecond = 0;
    Percentiles start;
    Percentiles change;
    Percentiles seek;
};

// Plays `seconds` from the start after a one-second warm-up and returns the CPU share.
bool measureCpu(const QString& path, int seconds, Result& result) {
    AudioEngine engine;
    if (!engine.open(path)) return false;
    engine.play();
    if (!waitForOutput(engine, Clock::now())) return false;
    runEvents(std::chrono::milliseconds(1000));
    const Usage before = processUsage();
    const Clock::time_point from = Clock::now();
    runEvents(std::chrono::milliseconds(seconds * 1000));
    const Usage after = processUsage();
    const double wall = std::chrono::duration<double>(Clock::now() - from).count();
    if (!engine.isPlaying()) return false;
    result.cpuPercent = 100.0 * (after.cpuSeconds - before.cpuSeconds) / wall;
    result.wakeupsPerSecond = static_cast<double>(after.voluntarySwitches - before.voluntarySwitches) / wall;
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

// One engine playing; open and play the file again, timed from open (the next track).
Percentiles measureChange(const QString& path, int repeat) {
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
        if (const auto ms = waitForOutput(engine, since)) values.push_back(*ms);
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
    std::printf("| format | CPU %% of one core | wake-ups/s | start p50 / p95 ms | track change p50 / p95 ms "
                "| seek p50 / p95 ms |\n|---|---|---|---|---|---|\n");
    std::fflush(stdout);
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
        if (!measureCpu(path, seconds, result)) {
            std::fprintf(stderr, "play_bench: %s did not play\n", qUtf8Printable(name));
            return 1;
        }
        result.start = measureStart(path, repeat);
        result.change = measureChange(path, repeat);
        result.seek = measureSeek(path, repeat);
        std::printf("| %s | %.2f | %.0f | %s | %s | %s |\n", qUtf8Printable(name), result.cpuPercent,
                    result.wakeupsPerSecond, qUtf8Printable(cell(result.start)), qUtf8Printable(cell(result.change)),
                    qUtf8Printable(cell(result.seek)));
        std::fflush(stdout);
    }
    return 0;
}
