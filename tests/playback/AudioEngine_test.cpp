#include "AudioEngine.h"
#include "EventLoop.h"
#include "MediaFactory.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <cstdlib>
#include <memory>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using sonvale::AudioEngine;

namespace {

constexpr int kRate = 44100;
constexpr int kBlock = kRate / 100;  // 10 ms

void spin(double seconds) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < seconds * 1000) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

bool pactl(const QStringList& args, QByteArray* out = nullptr) {
    QProcess p;
    p.start(QStringLiteral("pactl"), args);
    if (!p.waitForFinished(10000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) return false;
    if (out) *out = p.readAllStandardOutput();
    return true;
}

// Records a sink's monitor as mono 16-bit samples and measures what was heard.
class Recorder {
public:
    explicit Recorder(const QString& sink) {
        process_.start(QStringLiteral("parec"), {QStringLiteral("-d"), sink + QStringLiteral(".monitor"),
                                                 QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
                                                 QStringLiteral("--rate=44100"), QStringLiteral("--channels=1"),
                                                 QStringLiteral("--latency-msec=10")});
        process_.waitForStarted();
        // The monitor carries silence while nothing plays: once it flows, the recording runs.
        spinUntil([this] { return !process_.readAllStandardOutput().isEmpty(); }, 5);
    }
    ~Recorder() {
        process_.kill();
        process_.waitForFinished();
    }

    // Seconds of tone heard so far (10 ms blocks that are not silent).
    double heard() { return loudBlocks().size() / 100.0; }
    // Mean RMS of the loud blocks in [from, to) seconds of tone.
    double loudness(double from, double to) {
        const std::vector<double> rms = loudBlocks();
        double sum = 0;
        int n = 0;
        for (auto i = static_cast<std::size_t>(from * 100); i < rms.size() && i < to * 100; ++i, ++n) sum += rms[i];
        return n ? sum / n : 0;
    }
    // Frequency from the zero crossings between the first and the last loud sample.
    double frequency() {
        drain();
        const auto* s = reinterpret_cast<const qint16*>(data_.constData());
        const qsizetype n = data_.size() / 2;
        qsizetype first = -1;
        qsizetype last = -1;
        int crossings = 0;
        for (qsizetype i = 1; i < n; ++i) {
            if (std::abs(s[i]) <= 300) continue;
            if (first < 0) first = i;
            last = i;
        }
        for (qsizetype i = first + 1; first >= 0 && i <= last; ++i)
            if ((s[i - 1] < 0) != (s[i] < 0)) ++crossings;
        return last > first ? crossings / 2.0 / (static_cast<double>(last - first) / kRate) : 0;
    }

private:
    void drain() { data_ += process_.readAllStandardOutput(); }
    std::vector<double> loudBlocks() {
        drain();
        const auto* s = reinterpret_cast<const qint16*>(data_.constData());
        std::vector<double> out;
        for (qsizetype b = 0; (b + 1) * kBlock <= data_.size() / 2; ++b) {
            double sum = 0;
            for (int i = 0; i < kBlock; ++i) sum += double(s[b * kBlock + i]) * s[b * kBlock + i];
            const double rms = std::sqrt(sum / kBlock);
            if (rms > 300) out.push_back(rms);
        }
        return out;
    }

    QProcess process_;
    QByteArray data_;
};

class AudioEngineTest : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("PULSE_SERVER") || !pactl({QStringLiteral("info")}))
            GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
        ASSERT_TRUE(pactl({QStringLiteral("set-default-sink"), QStringLiteral("one")}));
        engine_.onFinished = [this] {
            ++finished_;
            heardAtFinish_ = recorder_ ? recorder_->heard() : 0;
        };
    }

    QString tone(double seconds) {
        return media_.ffmpeg(QStringLiteral("tone%1.flac").arg(seconds), {QStringLiteral("-c:a"), QStringLiteral("flac")},
                             seconds, kRate, 2);
    }
    bool finishes(double seconds) { return spinUntil([this] { return finished_ > 0; }, seconds); }

    MediaFactory media_;
    AudioEngine engine_;
    std::unique_ptr<Recorder> recorder_;
    int finished_ = 0;
    double heardAtFinish_ = 0;
};

TEST_F(AudioEngineTest, PlaysTheWholeFileAtItsPitchThenFinishesOnce) {
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    engine_.play();  // nothing open yet
    EXPECT_FALSE(engine_.isPlaying());
    ASSERT_TRUE(engine_.open(tone(1.5)));
    engine_.play();
    ASSERT_TRUE(finishes(5));
    spin(0.5);
    EXPECT_EQ(finished_, 1);
    EXPECT_NEAR(heardAtFinish_, 1.5, 0.1);  // the end is reported once it was heard
    EXPECT_NEAR(recorder_->heard(), 1.5, 0.1);
    EXPECT_NEAR(recorder_->frequency(), 440, 5);
    EXPECT_NEAR(engine_.elapsed(), 1.5, 0.1);
}

TEST_F(AudioEngineTest, PauseHoldsThePositionAndResumeLosesNothing) {
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(tone(1.5)));
    engine_.play();
    spin(0.6);
    engine_.pause();
    const double paused = engine_.elapsed();
    EXPECT_NEAR(paused, 0.6, 0.15);
    spin(0.5);
    EXPECT_EQ(engine_.elapsed(), paused);
    EXPECT_NEAR(recorder_->heard(), paused, 0.15);
    engine_.play();
    ASSERT_TRUE(finishes(5));
    EXPECT_NEAR(recorder_->heard(), 1.5, 0.15);
}

TEST_F(AudioEngineTest, SeekLandsOnThePositionPausedOrPlayingWithoutFinishing) {
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(tone(3)));
    engine_.seek(1.0);
    EXPECT_DOUBLE_EQ(engine_.elapsed(), 1.0);
    engine_.seek(3.0);  // the end: ignored
    EXPECT_DOUBLE_EQ(engine_.elapsed(), 1.0);
    spin(0.3);
    EXPECT_EQ(recorder_->heard(), 0);

    engine_.play();
    spin(0.4);
    EXPECT_NEAR(engine_.elapsed(), 1.4, 0.15);
    engine_.seek(2.5);
    EXPECT_NEAR(engine_.elapsed(), 2.5, 0.05);
    spin(0.2);
    EXPECT_NEAR(engine_.elapsed(), 2.7, 0.15);
    ASSERT_TRUE(finishes(5));
    spin(0.3);
    EXPECT_EQ(finished_, 1);
    EXPECT_NEAR(recorder_->heard(), 0.4 + 0.5, 0.2);
}

TEST_F(AudioEngineTest, StopForgetsTheFileAndNeverFinishes) {
    ASSERT_TRUE(engine_.open(tone(1)));
    engine_.play();
    spin(0.3);
    engine_.stop();
    EXPECT_FALSE(engine_.hasFile());
    EXPECT_EQ(engine_.elapsed(), 0);
    spin(1.2);
    EXPECT_EQ(finished_, 0);
    engine_.play();
    EXPECT_FALSE(engine_.isPlaying());
}

TEST_F(AudioEngineTest, VolumeSetBeforePlayAppliesAndChangesTakeEffectAtOnce) {
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(tone(1.5)));
    engine_.setVolume(0.5);
    engine_.play();
    spin(0.7);
    engine_.setVolume(1.0);
    ASSERT_TRUE(finishes(5));
    const double quiet = recorder_->loudness(0.1, 0.5);
    const double loud = recorder_->loudness(1.0, 1.4);
    ASSERT_GT(loud, 0);
    EXPECT_NEAR(quiet / loud, 0.5, 0.05);
}

TEST_F(AudioEngineTest, PlaybackFollowsTheDefaultOutputAndSurvivesItsRemoval) {
    Recorder one(QStringLiteral("one"));
    Recorder two(QStringLiteral("two"));
    ASSERT_TRUE(engine_.open(tone(3)));
    engine_.play();
    spin(0.8);
    ASSERT_TRUE(pactl({QStringLiteral("set-default-sink"), QStringLiteral("two")}));
    spin(0.7);
    EXPECT_NEAR(engine_.elapsed(), 1.5, 0.2);
    EXPECT_GT(two.heard(), 0.4);

    QByteArray modules;
    ASSERT_TRUE(pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("modules")}, &modules));
    QByteArray twoModule;
    for (const QByteArray& line : modules.split('\n'))
        if (line.contains("sink_name=two")) twoModule = line.split('\t').value(0);
    ASSERT_FALSE(twoModule.isEmpty());
    const double beforeRemoval = engine_.elapsed();
    const double heardOnTwo = two.heard();
    // The server moves the recorder of the removed sink's monitor to the other one as well.
    ASSERT_TRUE(pactl({QStringLiteral("unload-module"), QString::fromLatin1(twoModule)}));
    spin(0.3);
    EXPECT_TRUE(engine_.isPlaying());
    EXPECT_NEAR(engine_.elapsed(), beforeRemoval + 0.3, 0.2);
    ASSERT_TRUE(finishes(5));
    EXPECT_NEAR(one.heard() + heardOnTwo, 3.0, 0.3);
    pactl({QStringLiteral("load-module"), QStringLiteral("module-null-sink"), QStringLiteral("sink_name=two")});
}

TEST_F(AudioEngineTest, ASuspendedOutputIsLeftAtThePositionPausedOrPlaying) {
    Recorder one(QStringLiteral("one"));
    Recorder two(QStringLiteral("two"));
    auto suspend = [](const QString& sink, bool on) {
        return pactl({QStringLiteral("suspend-sink"), sink, on ? QStringLiteral("1") : QStringLiteral("0")});
    };
    ASSERT_TRUE(engine_.open(tone(2)));
    engine_.play();
    spin(0.5);
    engine_.pause();
    const double paused = engine_.elapsed();
    ASSERT_TRUE(suspend(QStringLiteral("one"), true));
    spin(0.3);
    EXPECT_FALSE(engine_.isPlaying());
    EXPECT_DOUBLE_EQ(engine_.elapsed(), paused);
    ASSERT_TRUE(suspend(QStringLiteral("one"), false));

    engine_.play();
    spin(0.4);
    const double heardOnOne = one.heard();
    ASSERT_TRUE(suspend(QStringLiteral("one"), true));
    ASSERT_TRUE(pactl({QStringLiteral("set-default-sink"), QStringLiteral("two")}));
    ASSERT_TRUE(finishes(5));
    suspend(QStringLiteral("one"), false);
    EXPECT_EQ(finished_, 1);
    EXPECT_NEAR(heardOnOne + two.heard(), 2.0, 0.25);
}

// A sound server of the test's own with one null sink, which the test may stop and start again
// at the same address; the process's PULSE_SERVER points at it while the object lives.
class RestartableServer {
public:
    RestartableServer() : saved_(qgetenv("PULSE_SERVER")) {
        qputenv("PULSE_SERVER", "unix:" + QFile::encodeName(dir_.filePath(QStringLiteral("native"))));
    }
    ~RestartableServer() {
        stop();
        if (saved_.isEmpty()) qunsetenv("PULSE_SERVER");
        else qputenv("PULSE_SERVER", saved_);
    }
    bool start() {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), dir_.path());
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir_.path());
        env.insert(QStringLiteral("PULSE_RUNTIME_PATH"), dir_.filePath(QStringLiteral("runtime")));
        env.insert(QStringLiteral("PULSE_STATE_PATH"), dir_.filePath(QStringLiteral("state")));
        env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        process_.setProcessEnvironment(env);
        process_.start(QStringLiteral("pulseaudio"),
                       {QStringLiteral("-n"), QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"),
                        QStringLiteral("--disable-shm=yes"), QStringLiteral("--use-pid-file=no"),
                        QStringLiteral("--system=no"), QStringLiteral("--log-target=stderr"),
                        QStringLiteral("-L"),
                        QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=") +
                            dir_.filePath(QStringLiteral("native")),
                        QStringLiteral("-L"), QStringLiteral("module-null-sink sink_name=one")});
        if (!process_.waitForStarted()) return false;
        return spinUntil([] { return pactl({QStringLiteral("info")}); }, 10);
    }
    void stop() {
        if (process_.state() == QProcess::NotRunning) return;
        process_.terminate();
        process_.waitForFinished();
    }

private:
    QTemporaryDir dir_;
    QByteArray saved_;
    QProcess process_;
};

TEST(AudioEngine, PlaybackGoesOnFromThePositionWhenTheSoundServerRestarts) {
    if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty()) GTEST_SKIP() << "no pulseaudio";
    RestartableServer server;
    ASSERT_TRUE(server.start());
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("tone.flac"), {QStringLiteral("-c:a"), QStringLiteral("flac")}, 3.0);
    AudioEngine engine;
    int finished = 0;
    engine.onFinished = [&finished] { ++finished; };
    auto recorder = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine.open(path));
    engine.play();
    ASSERT_TRUE(spinUntil([&] { return recorder->heard() > 0.8; }, 5));

    server.stop();
    spin(0.4);
    EXPECT_FALSE(engine.isPlaying());
    const double lost = engine.elapsed();
    EXPECT_NEAR(lost, recorder->heard(), 0.25);
    recorder.reset();

    ASSERT_TRUE(server.start());
    ASSERT_TRUE(spinUntil([&] { return engine.isPlaying(); }, 5));
    EXPECT_NEAR(engine.elapsed(), lost, 0.15);
    ASSERT_TRUE(spinUntil([&] { return finished > 0; }, 8));
    EXPECT_NEAR(engine.elapsed(), 3.0, 0.15);
    spin(0.3);
    EXPECT_EQ(finished, 1);
}

TEST(AudioEngine, AServerThatNeverAnswersCannotHoldPlayForLong) {
    QTemporaryDir dir;
    const QByteArray socketPath = QFile::encodeName(dir.filePath(QStringLiteral("silent")));
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(socketPath.size(), static_cast<qsizetype>(sizeof(address.sun_path)));
    std::memcpy(address.sun_path, socketPath.constData(), static_cast<std::size_t>(socketPath.size()));
    // Connections wait in the backlog: accepted by the kernel, never answered.
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    const QByteArray saved = qgetenv("PULSE_SERVER");
    qputenv("PULSE_SERVER", "unix:" + socketPath);

    MediaFactory media;
    AudioEngine engine;
    ASSERT_TRUE(engine.open(media.ffmpeg(QStringLiteral("tone.flac"), {QStringLiteral("-c:a"), QStringLiteral("flac")}, 1.0)));
    QElapsedTimer timer;
    timer.start();
    engine.play();
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_FALSE(engine.isPlaying());
    ::close(listener);
    if (saved.isEmpty()) qunsetenv("PULSE_SERVER");
    else qputenv("PULSE_SERVER", saved);
}

TEST(AudioEngine, WithoutASoundServerPlayStaysSilentAndTheRestWorks) {
    const QByteArray saved = qgetenv("PULSE_SERVER");
    qputenv("PULSE_SERVER", "unix:/nonexistent/sonvale-no-server");
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("tone.flac"), {QStringLiteral("-c:a"), QStringLiteral("flac")}, 1.0);
    AudioEngine engine;
    QString error;
    EXPECT_FALSE(engine.open(media.path(QStringLiteral("missing.flac")), &error));
    EXPECT_FALSE(error.isEmpty());
    ASSERT_TRUE(engine.open(path));
    engine.play();
    EXPECT_FALSE(engine.isPlaying());
    engine.seek(0.5);
    EXPECT_DOUBLE_EQ(engine.elapsed(), 0.5);
    engine.pause();
    engine.stop();
    EXPECT_FALSE(engine.hasFile());
    if (saved.isEmpty()) qunsetenv("PULSE_SERVER");
    else qputenv("PULSE_SERVER", saved);
}

}  // namespace
