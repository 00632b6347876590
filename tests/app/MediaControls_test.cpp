#include "DB.h"
#include "EventLoop.h"
#include "MediaFactory.h"
#include "Preferences.h"
#include "SoundServer.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

// The real program driven through its media controls, as a desktop shell or playerctl would.
TEST(MediaControls, QuitThroughThemKeepsPlaylistCurrentItemAndModeForTheNextStart) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) GTEST_SKIP() << "no session bus (run through scripts/with-dbus.sh)";
    if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
    MediaFactory media;
    const QString first = media.ffmpeg(QStringLiteral("a.flac"), {}, 20);
    const QString second = media.ffmpeg(QStringLiteral("b.flac"), {}, 20);
    ASSERT_FALSE(first.isEmpty() || second.isEmpty());

    QProcess app;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    app.setProcessEnvironment(environment);
    app.setProcessChannelMode(QProcess::ForwardedChannels);
    app.start(QStringLiteral(SONVALE_APP), {media.dir()});

    // An interface made before its service exists stays invalid, so the name comes first.
    ASSERT_TRUE(spinUntil([&] {
        return bus.interface()->isServiceRegistered(QStringLiteral("org.mpris.MediaPlayer2.sonvale")).value();
    }, 20));
    QDBusInterface player(QStringLiteral("org.mpris.MediaPlayer2.sonvale"), QStringLiteral("/org/mpris/MediaPlayer2"),
                          QStringLiteral("org.mpris.MediaPlayer2.Player"), bus);
    ASSERT_TRUE(spinUntil([&] { return player.property("PlaybackStatus").toString() == QLatin1String("Playing"); }, 20));
    ASSERT_TRUE(player.call(QStringLiteral("Next")).type() == QDBusMessage::ReplyMessage);
    ASSERT_TRUE(spinUntil([&] {
        return player.property("Metadata").toMap().value(QStringLiteral("xesam:url")).toString().endsWith(QLatin1String("b.flac"));
    }, 10));
    ASSERT_TRUE(player.setProperty("LoopStatus", QStringLiteral("Track")));
    ASSERT_TRUE(player.setProperty("Volume", 0.25));
    QDBusInterface root(QStringLiteral("org.mpris.MediaPlayer2.sonvale"), QStringLiteral("/org/mpris/MediaPlayer2"),
                        QStringLiteral("org.mpris.MediaPlayer2"), bus);
    EXPECT_EQ(root.property("Identity").toString(), QLatin1String("Sonvale"));
    ASSERT_TRUE(root.call(QStringLiteral("Quit")).type() == QDBusMessage::ReplyMessage);
    ASSERT_TRUE(spinUntil([&] { return app.state() == QProcess::NotRunning; }, 20));
    EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(app.exitCode(), 0);

    const sonvale::Preferences preferences;
    EXPECT_EQ(preferences.playbackMode, sonvale::PlaybackMode::RepeatOne);
    EXPECT_EQ(preferences.currentPlaylistItem, 1);
    EXPECT_FLOAT_EQ(preferences.volume, 0.25f);
    QStringList saved;
    for (const sonvale::TrackRef& track : sonvale::DB().loadPlaylist()) saved.append(QFileInfo(track->path).fileName());
    EXPECT_EQ(saved, QStringList({"a.flac", "b.flac"}));
}

}  // namespace
