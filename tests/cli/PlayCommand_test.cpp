#include "CliProcess.h"
#include "MediaFactory.h"
#include "SessionBus.h"
#include "SoundServer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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
    const QString a = media.ffmpeg(QStringLiteral("a.flac"), {}, 20);
    const QString b = media.ffmpeg(QStringLiteral("b.flac"), {}, 20);
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

// What a short-lived client prints, trimmed.
QString clientOutput(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    process.waitForFinished(30000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// Reads the process's output into `seen` until it holds `text`, for `seconds` at most.
bool waitForOutput(QProcess& process, QByteArray& seen, const QString& text, double seconds) {
    QElapsedTimer timer;
    timer.start();
    while (!seen.contains(text.toUtf8()) && timer.elapsed() < seconds * 1000) {
        if (process.waitForReadyRead(100)) seen += process.readAllStandardOutput();
    }
    return seen.contains(text.toUtf8());
}

TEST(PlayCommand, PublishesAnMprisPlayerThatOpensFilesAndQuits) {
    if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
    if (!privateSessionBusRuns()) GTEST_SKIP() << "no private session bus (run through scripts/with-dbus.sh)";
    MediaFactory media;
    const QString a = media.ffmpeg(QStringLiteral("a.flac"), {}, 20);
    const QString b = media.ffmpeg(QStringLiteral("b.flac"), {}, 20);
    QTemporaryDir data;
    QProcess cli;
    cli.start(QStringLiteral(SONVALE_CLI), {QStringLiteral("--data-dir"), data.path(), QStringLiteral("play"), a});
    QByteArray out;
    // The service is up before the first track starts.
    ASSERT_TRUE(waitForOutput(cli, out, "1\t" + a, 10)) << out.constData();
    const QStringList players = clientOutput(QStringLiteral("playerctl"), {QStringLiteral("--list-all")}).split(u'\n');
    const QString instance = QStringLiteral("sonvale.instance%1").arg(cli.processId());
    const QString name = players.contains(instance) ? instance : QStringLiteral("sonvale");
    ASSERT_TRUE(players.contains(name)) << qPrintable(players.join(' '));
    const QString player = "--player=" + name;
    EXPECT_EQ(clientOutput(QStringLiteral("playerctl"), {player, QStringLiteral("status")}), QStringLiteral("Playing"));
    clientOutput(QStringLiteral("playerctl"), {player, QStringLiteral("open"), QUrl::fromLocalFile(b).toString()});
    ASSERT_TRUE(waitForOutput(cli, out, "1\t" + b, 10)) << out.constData();
    const QString reply = clientOutput(QStringLiteral("dbus-send"),
                                       {QStringLiteral("--session"), QStringLiteral("--print-reply"),
                                        "--dest=org.mpris.MediaPlayer2." + name,
                                        QStringLiteral("/org/mpris/MediaPlayer2"),
                                        QStringLiteral("org.mpris.MediaPlayer2.Quit")});
    EXPECT_TRUE(reply.startsWith(QStringLiteral("method return"))) << qPrintable(reply);
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.exitCode(), 0) << cli.readAllStandardError().constData();
}

// Without a session bus (MPRIS off, said once) every file plays to its end, each printed as it
// starts, and the command exits.
TEST(PlayCommand, PlaysEveryFileToTheEndWithoutASessionBusAndSaysSoOnce) {
    if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
    MediaFactory media;
    const QString a = media.ffmpeg(QStringLiteral("a.flac"), {}, 0.4);
    const QString b = media.ffmpeg(QStringLiteral("b.flac"), {}, 0.6);
    QTemporaryDir data;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), "unix:path=" + data.filePath("none"));
    QProcess cli;
    cli.setProcessEnvironment(environment);
    cli.start(QStringLiteral(SONVALE_CLI), {QStringLiteral("--data-dir"), data.path(), QStringLiteral("play"),
                                            QStringLiteral("--mode"), QStringLiteral("normal"), a, b});
    ASSERT_TRUE(cli.waitForFinished(60000));
    const QString err = QString::fromUtf8(cli.readAllStandardError());
    EXPECT_EQ(cli.exitCode(), 0) << qPrintable(err);
    EXPECT_EQ(QString::fromUtf8(cli.readAllStandardOutput()), QStringLiteral("1\t%1\t0.4\n2\t%2\t0.6\n").arg(a, b));
    EXPECT_EQ(err.count(QStringLiteral("MPRIS is off: no session bus")), 1) << qPrintable(err);
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
