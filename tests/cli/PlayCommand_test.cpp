#include "CliProcess.h"
#include "MediaFactory.h"
#include "SoundServer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QString tone(MediaFactory& media, const QString& name, double seconds) {
    return media.ffmpeg(name, {QStringLiteral("-c:a"), QStringLiteral("flac")}, seconds);
}

TEST(PlayCommand, PlaysEveryFileToTheEndPrintingEachTrackThenExits) {
    if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
    MediaFactory media;
    const QString a = tone(media, QStringLiteral("a.flac"), 0.4);
    const QString b = tone(media, QStringLiteral("b.flac"), 0.6);
    QTemporaryDir data;
    const CliResult result = runCli({QStringLiteral("--data-dir"), data.path(), QStringLiteral("play"),
                                     QStringLiteral("--mode"), QStringLiteral("normal"), a, b});
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    EXPECT_EQ(QString::fromUtf8(result.out), QStringLiteral("1\t%1\t0.4\n2\t%2\t0.6\n").arg(a, b));
}

// The command on a terminal of its own: keys typed into it, what it prints read back.
class TerminalRun {
public:
    explicit TerminalRun(const QStringList& args) {
        QList<QByteArray> owned = {QByteArray(SONVALE_CLI)};
        for (const QString& arg : args) owned.append(arg.toLocal8Bit());
        std::vector<char*> argv;
        for (QByteArray& arg : owned) argv.push_back(arg.data());
        argv.push_back(nullptr);
        pid_ = forkpty(&master_, nullptr, nullptr, nullptr);
        if (pid_ == 0) {
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    ~TerminalRun() {
        if (pid_ > 0 && !exited_) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        if (master_ >= 0) close(master_);
    }
    bool started() const { return pid_ > 0; }
    void type(const char* keys) { (void)!write(master_, keys, strlen(keys)); }
    // Reads until the output holds `text` `times` times, for `seconds` at most.
    bool waitFor(const QByteArray& text, double seconds, qsizetype times = 1) {
        QElapsedTimer timer;
        timer.start();
        while (output.count(text) < times && timer.elapsed() < seconds * 1000) {
            pollfd p{master_, POLLIN, 0};
            if (poll(&p, 1, 50) <= 0) continue;
            char buffer[512];
            const ssize_t n = read(master_, buffer, sizeof buffer);
            if (n <= 0) break;
            output.append(buffer, n);
        }
        return output.count(text) >= times;
    }
    // The exit code, once the command ended within `seconds`; -1 otherwise.
    int exitCode(double seconds) {
        QElapsedTimer timer;
        timer.start();
        int status = 0;
        while (timer.elapsed() < seconds * 1000) {
            waitFor(QByteArray("\x01"), 0.05);  // keep the terminal drained
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
        }
        return -1;
    }

    QByteArray output;

private:
    int master_ = -1;
    pid_t pid_ = -1;
    bool exited_ = false;
};

TEST(PlayCommand, KeysOnATerminalSkipPauseAndQuit) {
    if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
    MediaFactory media;
    const QString a = tone(media, QStringLiteral("a.flac"), 20);
    const QString b = tone(media, QStringLiteral("b.flac"), 20);
    QTemporaryDir data;
    TerminalRun run({QStringLiteral("--data-dir"), data.path(), QStringLiteral("play"), a, b});
    ASSERT_TRUE(run.started());
    ASSERT_TRUE(run.waitFor("1\t" + a.toUtf8(), 10)) << run.output.constData();
    run.type("n");
    ASSERT_TRUE(run.waitFor("2\t" + b.toUtf8(), 5)) << run.output.constData();
    run.type(" \x1b[C p");  // pause, seek, resume, back to the first
    ASSERT_TRUE(run.waitFor("1\t" + a.toUtf8(), 5, 2)) << run.output.constData();
    run.type("\x1b[C\x1b[C");  // past the end: on to the next track
    ASSERT_TRUE(run.waitFor("2\t" + b.toUtf8(), 5, 2)) << run.output.constData();
    run.type("q");
    EXPECT_EQ(run.exitCode(5), 0) << run.output.constData();
}

TEST(PlayCommand, RefusesAnUnknownModeAndReportsNothingPlayable) {
    EXPECT_EQ(runCli({QStringLiteral("play"), QStringLiteral("--mode"), QStringLiteral("loop"), QStringLiteral("x")}).exitCode, 2);
    MediaFactory media;
    QTemporaryDir data;
    const CliResult result = runCli({QStringLiteral("--data-dir"), data.path(), QStringLiteral("play"), media.dir()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.isEmpty());
}

}  // namespace
