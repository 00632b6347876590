#include "AppFixture.h"

#include "OpenBatch.h"
#include "RunningCopy.h"

#include <QDBusConnection>
#include <QProcess>
#include <QUrl>

#include <algorithm>
#include <vector>

using namespace sonvale;

namespace {

// The program itself and dbus-send as the clients of a copy that runs in the test process.
class RunningCopyTest : public AppFixture {
protected:
    void SetUp() override {
        if (!QDBusConnection::sessionBus().isConnected()) GTEST_SKIP() << "no session bus (run through scripts/with-dbus.sh)";
        AppFixture::SetUp();
        if (IsSkipped()) return;
        fill();
        ASSERT_TRUE(copy_.claim());
        copy_.serve({.activate = [this] { ++activations_; },
                     .open = [this](const QStringList& paths) { app_->openFiles(paths); },
                     .action = [](const QString& name) { return name == QLatin1String("next"); }});
    }

    // Runs the programs at once while the test's event loop keeps serving the bus; their exit
    // codes (-1 for one that did not end by itself).
    QList<int> runTogether(const QList<std::pair<QString, QStringList>>& commands) {
        std::vector<std::unique_ptr<QProcess>> processes;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        for (const auto& [program, args] : commands) {
            processes.push_back(std::make_unique<QProcess>());
            processes.back()->setProcessEnvironment(environment);
            processes.back()->setProcessChannelMode(QProcess::ForwardedChannels);
            processes.back()->start(program, args);
        }
        spinUntil([&] {
            return std::all_of(processes.begin(), processes.end(),
                               [](const auto& p) { return p->state() == QProcess::NotRunning; });
        }, 20);
        QList<int> codes;
        for (const auto& process : processes) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished();
                codes.append(-1);
                continue;
            }
            codes.append(process->exitStatus() == QProcess::NormalExit ? process->exitCode() : -1);
        }
        return codes;
    }
    int run(const QString& program, const QStringList& args) { return runTogether({{program, args}}).front(); }

    int callOpen(const QString& arguments) {
        return run(QStringLiteral("sh"), {QStringLiteral("-c"),
                   QStringLiteral("gdbus call --session --dest org.sonvale.Sonvale --object-path /org/sonvale/Sonvale "
                                  "--method org.freedesktop.Application.Open ") + arguments});
    }

    RunningCopy copy_;
    int activations_ = 0;
};

TEST_F(RunningCopyTest, SecondStartsHandTheirFilesOverAndBecomeOneSortedBatch) {
    // The collection interval is long here only so that three process starts surely fall in it.
    app_->batch().setInterval(2500);
    QList<std::pair<QString, QStringList>> starts;
    for (const QString& path : paths_) starts.append({QStringLiteral(SONVALE_APP), {path}});
    EXPECT_EQ(runTogether(starts), QList<int>({0, 0, 0}));
    ASSERT_TRUE(spinUntil([this] { return playlistNames() == QStringList({"a1", "b2", "B10"}); }, 10))
        << playlistNames().join(QLatin1Char(' ')).toStdString();
    EXPECT_GE(activations_, 3);
}

TEST_F(RunningCopyTest, OpenRefusesWhatIsNotALocalFileAndChangesNothing) {
    EXPECT_NE(callOpen(QStringLiteral("\"['https://example.org/a.mp3']\" '{}'")), 0);
    // dbus-send does not look at the interface first, so the wrong signature reaches the program.
    EXPECT_NE(run(QStringLiteral("dbus-send"),
                  {QStringLiteral("--session"), QStringLiteral("--print-reply"), QStringLiteral("--dest=org.sonvale.Sonvale"),
                   QStringLiteral("/org/sonvale/Sonvale"), QStringLiteral("org.freedesktop.Application.Open"),
                   QStringLiteral("int32:7")}),
              0);
    EXPECT_EQ(playlistNames(), QStringList({"B10", "a1", "b2"}));
    EXPECT_EQ(callOpen(QStringLiteral("\"['%1']\" '{}'").arg(QUrl::fromLocalFile(paths_[1]).toString())), 0);
    ASSERT_TRUE(spinUntil([this] { return playlistNames() == QStringList({"a1"}); }, 5));
}

}  // namespace
