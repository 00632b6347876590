#include "CliProcess.h"
#include "MediaFactory.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

bool soundServerRuns() {
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER")) return false;
    QProcess p;
    p.start(QStringLiteral("pactl"), {QStringLiteral("info")});
    return p.waitForFinished(10000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

TEST(PlayCommand, PlaysEveryFileToTheEndPrintingEachTrackThenExits) {
    if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
    MediaFactory media;
    const QStringList flac = {QStringLiteral("-c:a"), QStringLiteral("flac")};
    const QString a = media.ffmpeg(QStringLiteral("a.flac"), flac, 0.4);
    const QString b = media.ffmpeg(QStringLiteral("b.flac"), flac, 0.6);
    QTemporaryDir data;
    const CliResult result = runCli({QStringLiteral("--data-dir"), data.path(), QStringLiteral("play"),
                                     QStringLiteral("--mode"), QStringLiteral("normal"), a, b});
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    EXPECT_EQ(QString::fromUtf8(result.out), QStringLiteral("1\t%1\t0.4\n2\t%2\t0.6\n").arg(a, b));
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
