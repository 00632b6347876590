#include "AudioEngine.h"
#include "EventLoop.h"
#include "MediaFactory.h"
#include "MonitorRecorder.h"

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

bool pactl(const QStringList& args, QByteArray* out = nullptr) {
    QProcess p;
    p.start(QStringLiteral("pactl"), args);
    if (!p.waitForFinished(10000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) return false;
    if (out) *out = p.readAllStandardOutput();
    return true;
}

using Recorder = MonitorRecorder;

// Points PULSE_SERVER at `address` while it lives.
class PulseServerAddress {
public:
    explicit PulseServerAddress(const QByteArray& address) : saved_(qgetenv("PULSE_SERVER")) {
        qputenv("PULSE_SERVER", address);
    }
    ~PulseServerAddress() {
        if (saved_.isEmpty()) qunsetenv("PULSE_SERVER");
        else qputenv("PULSE_SERVER", saved_);
    }

private:
    QByteArray saved_;
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
    // Cases that move the output to "two" leave it there; the player's recorded cases in the
    // next processes listen on "one".
    void TearDown() override { pactl({QStringLiteral("set-default-sink"), QStringLiteral("one")}); }

    QString tone(double seconds) {
        return media_.ffmpeg(QStringLiteral("tone%1.flac").arg(seconds), {}, seconds, kRate, 2);
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
    ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(0.3); }, 5));
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
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.6; }, 5));
    engine_.pause();
    const double paused = engine_.elapsed();
    EXPECT_NEAR(paused, 0.6, 0.15);
    ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(0.3); }, 5));
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

    engine_.play();
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 1.4; }, 5));
    engine_.seek(2.5);
    EXPECT_NEAR(engine_.elapsed(), 2.5, 0.05);
    ASSERT_TRUE(finishes(5));
    EXPECT_NEAR(engine_.elapsed(), 3.0, 0.1);
    ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(0.3); }, 5));
    EXPECT_EQ(finished_, 1);
    EXPECT_NEAR(recorder_->heard(), 0.4 + 0.5, 0.2);
}

TEST_F(AudioEngineTest, StopForgetsTheFileAndNeverFinishes) {
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(tone(1)));
    engine_.play();
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.3; }, 5));
    engine_.stop();
    EXPECT_FALSE(engine_.hasFile());
    EXPECT_EQ(engine_.elapsed(), 0);
    // Past the time the file would have ended.
    ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(1.0); }, 5));
    EXPECT_EQ(finished_, 0);
    engine_.play();
    EXPECT_FALSE(engine_.isPlaying());
}

TEST_F(AudioEngineTest, VolumeSetBeforePlayAppliesAndChangesTakeEffectAtOnce) {
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(tone(1.5)));
    engine_.setVolume(0.5);
    engine_.play();
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.7; }, 5));
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
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.8; }, 5));
    ASSERT_TRUE(pactl({QStringLiteral("set-default-sink"), QStringLiteral("two")}));
    ASSERT_TRUE(spinUntil([&] { return two.heard() >= 0.4; }, 5));
    EXPECT_NEAR(engine_.elapsed(), one.heard() + two.heard(), 0.2);

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
    // Sound goes on: the position moves on from where it was.
    ASSERT_TRUE(spinUntil([&] { return engine_.isPlaying() && engine_.elapsed() >= beforeRemoval + 0.3; }, 5));
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
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.5; }, 5));
    engine_.pause();
    const double paused = engine_.elapsed();
    ASSERT_TRUE(suspend(QStringLiteral("one"), true));
    // The suspension reaches the engine as an output change; it must not start sound.
    EXPECT_FALSE(spinUntil([this] { return engine_.isPlaying(); }, 0.3));
    EXPECT_DOUBLE_EQ(engine_.elapsed(), paused);
    ASSERT_TRUE(suspend(QStringLiteral("one"), false));

    engine_.play();
    ASSERT_TRUE(spinUntil([&] { return one.heard() >= 0.9; }, 5));
    const double heardOnOne = one.heard();
    ASSERT_TRUE(suspend(QStringLiteral("one"), true));
    ASSERT_TRUE(pactl({QStringLiteral("set-default-sink"), QStringLiteral("two")}));
    ASSERT_TRUE(finishes(5));
    suspend(QStringLiteral("one"), false);
    EXPECT_EQ(finished_, 1);
    EXPECT_NEAR(heardOnOne + two.heard(), 2.0, 0.25);
}

// Two halves of one sine, cut at a sample that is no block boundary of any codec.
constexpr qint64 kSplit = 52919;

TEST_F(AudioEngineTest, TheHalvesOfASinePlayBackAsOneInEveryFormat) {
    struct Format {
        const char* extension;
        QStringList codec;
        double phaseTolerance;  // degrees; AAC renders a tone setting in at full strength loosely
    };
    const Format formats[] = {
        {"flac", {"-c:a", "flac"}, 1.0},
        {"wav", {"-c:a", "pcm_s16le"}, 1.0},
        {"mp3", {"-c:a", "libmp3lame", "-b:a", "192k"}, 1.0},
        {"m4a", {"-c:a", "aac", "-b:a", "256k", "-movie_timescale", "44100"}, 2.5},
    };
    int advanced = 0;
    double heardAtAdvance = 0;
    engine_.onAdvanced = [&] {
        ++advanced;
        heardAtAdvance = recorder_->heard();
    };
    for (const Format& format : formats) {
        SCOPED_TRACE(format.extension);
        const QStringList parts = media_.splitSine(QStringLiteral("sine"), QString::fromLatin1(format.extension),
                                                   format.codec, 2.0, kSplit);
        ASSERT_EQ(parts.size(), 2);
        advanced = 0;
        finished_ = 0;
        recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
        ASSERT_TRUE(engine_.open(parts[0]));
        ASSERT_TRUE(engine_.prepareNext(parts[1]));
        EXPECT_TRUE(engine_.prepareNext(parts[1]));  // already prepared
        engine_.play();
        ASSERT_TRUE(finishes(10));
        EXPECT_EQ(advanced, 1);
        EXPECT_EQ(engine_.path(), parts[1]);
        // Reported when heard, and the position counts from the second file's start.
        EXPECT_NEAR(heardAtAdvance, double(kSplit) / kRate, 0.1);
        EXPECT_NEAR(engine_.elapsed(), 2.0 - double(kSplit) / kRate, 0.1);
        ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(0.2); }, 5));
        // The test server may swallow the first few milliseconds of a stream (exact counts are
        // the decoder test's); the joint must lose or add nothing: a lost or doubled sample
        // shifts the phase by 3.6 degrees, a gap shows as silence.
        const Recorder::Continuity heard = recorder_->continuity(440);
        EXPECT_NEAR(heard.frames, 2 * kRate, 0.02 * kRate);
        EXPECT_LT(heard.longestGapMs, 1.0);
        EXPECT_LT(heard.largestPhaseShift, format.phaseTolerance);
    }
}

TEST_F(AudioEngineTest, GainScalesAFileAndTheNextFileTakesItsOwnFromItsFirstSample) {
    const QStringList parts = media_.splitSine(QStringLiteral("gain"), QStringLiteral("flac"), {}, 1.5, kRate);
    ASSERT_EQ(parts.size(), 2);
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(parts[0], nullptr, 1.0f));
    ASSERT_TRUE(engine_.prepareNext(parts[1], 0.5f));
    engine_.play();
    ASSERT_TRUE(finishes(10));
    ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(0.2); }, 5));
    // The tone's first loud sample is its second one: the boundary lies kRate - 1 after it.
    const double before = recorder_->peak(kRate - 1 - 500, kRate - 1);
    const double after = recorder_->peak(kRate - 1, kRate - 1 + 500);
    EXPECT_NEAR(before, 16384, 200);
    EXPECT_NEAR(after / before, 0.5, 0.01);
}

TEST_F(AudioEngineTest, AnotherFormatIsNotPreparedAndAClearedOrReplacedNextFileTakesEffect) {
    const QStringList parts = media_.splitSine(QStringLiteral("sine"), QStringLiteral("flac"), {}, 2.0, kSplit);
    ASSERT_EQ(parts.size(), 2);
    const QString other = media_.ffmpeg(QStringLiteral("48k.flac"), {}, 0.5, 48000, 2);
    int advanced = 0;
    engine_.onAdvanced = [&] { ++advanced; };
    EXPECT_FALSE(engine_.prepareNext(parts[1]));  // nothing open
    ASSERT_TRUE(engine_.open(parts[0]));
    EXPECT_FALSE(engine_.prepareNext(other));
    EXPECT_FALSE(engine_.prepareNext(media_.path(QStringLiteral("missing.flac"))));

    // Cleared once the decoder has gone on into it (a second ahead): the first file finishes.
    ASSERT_TRUE(engine_.prepareNext(parts[1]));
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    engine_.play();
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.5; }, 5));
    engine_.clearNext();
    ASSERT_TRUE(finishes(10));
    EXPECT_EQ(advanced, 0);
    EXPECT_EQ(engine_.path(), parts[0]);
    EXPECT_NEAR(heardAtFinish_, double(kSplit) / kRate, 0.1);

    // Replaced just as late: the replacement follows without a gap.
    finished_ = 0;
    recorder_ = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine_.open(parts[0]));
    ASSERT_TRUE(engine_.prepareNext(parts[0]));
    engine_.play();
    ASSERT_TRUE(spinUntil([this] { return engine_.elapsed() >= 0.5; }, 5));
    ASSERT_TRUE(engine_.prepareNext(parts[1]));
    ASSERT_TRUE(finishes(10));
    EXPECT_EQ(advanced, 1);
    EXPECT_EQ(engine_.path(), parts[1]);
    ASSERT_TRUE(spinUntil([this] { return recorder_->silentFor(0.2); }, 5));
    EXPECT_LT(recorder_->continuity(440).largestPhaseShift, 1.0);
}

// A sound server of the test's own with one null sink, which the test may stop and start again
// at the same address; the process's PULSE_SERVER points at it while the object lives.
class RestartableServer {
public:
    ~RestartableServer() { stop(); }
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
    PulseServerAddress address_{"unix:" + QFile::encodeName(dir_.filePath(QStringLiteral("native")))};
    QProcess process_;
};

TEST(AudioEngine, PlaybackGoesOnFromThePositionWhenTheSoundServerRestarts) {
    if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty()) GTEST_SKIP() << "no pulseaudio";
    RestartableServer server;
    ASSERT_TRUE(server.start());
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("tone.flac"), {}, 3.0);
    AudioEngine engine;
    int finished = 0;
    engine.onFinished = [&finished] { ++finished; };
    auto recorder = std::make_unique<Recorder>(QStringLiteral("one"));
    ASSERT_TRUE(engine.open(path));
    engine.play();
    ASSERT_TRUE(spinUntil([&] { return recorder->heard() > 0.8; }, 5));

    server.stop();
    ASSERT_TRUE(spinUntil([&] { return !engine.isPlaying(); }, 5));
    const double lost = engine.elapsed();
    EXPECT_NEAR(lost, recorder->heard(), 0.25);
    recorder.reset();

    ASSERT_TRUE(server.start());
    ASSERT_TRUE(spinUntil([&] { return engine.isPlaying(); }, 5));
    EXPECT_NEAR(engine.elapsed(), lost, 0.15);
    ASSERT_TRUE(spinUntil([&] { return finished > 0; }, 8));
    EXPECT_NEAR(engine.elapsed(), 3.0, 0.15);
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
    const PulseServerAddress server("unix:" + socketPath);

    MediaFactory media;
    AudioEngine engine;
    ASSERT_TRUE(engine.open(media.ffmpeg(QStringLiteral("tone.flac"), {}, 1.0)));
    QElapsedTimer timer;
    timer.start();
    engine.play();
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_FALSE(engine.isPlaying());
    ::close(listener);
}

TEST(AudioEngine, WithoutASoundServerPlayStaysSilentAndTheRestWorks) {
    const PulseServerAddress server("unix:/nonexistent/sonvale-no-server");
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("tone.flac"), {}, 1.0);
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
}

}  // namespace
