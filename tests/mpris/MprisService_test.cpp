#include "MprisService.h"

#include "DB.h"
#include "EventLoop.h"
#include "MediaFactory.h"
#include "MprisInterface.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"
#include "SessionBus.h"
#include "SoundServer.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <memory>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

constexpr double kSeconds = 30;
constexpr qlonglong kLength = 30'000'000;
const QString kClientConnection = u"mpris-test-client"_s;
constexpr const char* kPlayer = "org.mpris.MediaPlayer2.Player";
using Names = QList<QStringList>;

// A D-Bus value as the test compares it: maps arrive packed and are unpacked.
QVariant unpacked(const QVariant& value) {
    if (value.metaType() != QMetaType::fromType<QDBusArgument>()) return value;
    return qdbus_cast<QVariantMap>(value.value<QDBusArgument>());
}

QString fileUrl(const QString& path) { return QString::fromLatin1(QUrl::fromLocalFile(path).toEncoded()); }

QString errorName(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ErrorMessage ? reply.errorName() : u"(no error)"_s;
}

QVariant id(const PlaylistItemRef& item) {
    return QVariant::fromValue(QDBusObjectPath("/org/sonvale/Sonvale/Track/" + item->uuid().toString(QUuid::Id128)));
}

// A real player on three files (a tagged FLAC with an embedded cover, an untagged MP3, a FLAC in
// a folder with cover.jpg), its service on the private bus, and clients on a connection of their
// own: Qt D-Bus proxies and playerctl.
class MprisServiceTest : public testing::Test {
protected:
    void SetUp() override {
        if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
        if (!privateSessionBusRuns()) GTEST_SKIP() << "no private session bus (run through scripts/with-dbus.sh)";
        Preferences reset;
        reset.playbackMode = PlaybackMode::Normal;
        reset.volume = 1.0f;
        reset.currentPlaylistItem = std::nullopt;
        ASSERT_TRUE(reset.save());
        makeMedia();
        preferences_ = std::make_unique<Preferences>();
        player_ = std::make_unique<Player>(std::make_shared<DB>(dataDir_.path()), *preferences_, queues_);
        startService({});
    }

    void TearDown() override {
        interfaces_.clear();
        QDBusConnection::disconnectFromBus(kClientConnection);
        service_.reset();
    }

    void makeMedia() {
        const QString picture = media_.jpeg("picture.jpg");
        tagged_ = media_.ffmpeg("tagged.flac", {}, kSeconds);
        ASSERT_TRUE(MediaFactory::run("metaflac", {"--set-tag=TITLE=Morning", "--set-tag=ARTIST=One",
                                                   "--set-tag=ARTIST=Two", "--set-tag=ALBUM=Dawn",
                                                   "--set-tag=TRACKNUMBER=3", "--import-picture-from=" + picture,
                                                   tagged_}));
        embeddedCover_ = *MediaFactory::readAll(picture);
        plain_ = media_.ffmpeg("plain track.mp3", {"-c:a", "libmp3lame", "-map_metadata", "-1"}, kSeconds);
        folderCover_ = media_.jpeg("album/cover.jpg");
        song_ = media_.ffmpeg("album/song.flac", {}, kSeconds);
        ASSERT_FALSE(tagged_.isEmpty() || plain_.isEmpty() || folderCover_.isEmpty() || song_.isEmpty());
    }

    void startService(MprisHooks hooks) {
        TearDown();
        service_ = std::make_unique<MprisService>(*player_, std::move(hooks), MprisService::instanceBusName());
        ASSERT_TRUE(service_->isPublished());
        const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, kClientConnection);
        for (const char* name : {kPlayer, "org.mpris.MediaPlayer2", "org.freedesktop.DBus.Properties"})
            interfaces_.push_back(std::make_unique<MprisInterface>(service_->busName(), name, bus));
        changes_.clear();
        seeks_.clear();
        QObject::connect(properties(), &MprisInterface::PropertiesChanged, properties(),
                         [this](const QString& interface, QVariantMap changed, const QStringList& invalidated) {
                             EXPECT_EQ(interface, kPlayer);
                             EXPECT_TRUE(invalidated.isEmpty());
                             if (changed.contains("Metadata")) changed["Metadata"] = unpacked(changed["Metadata"]);
                             changes_.append(changed);
                         });
        QObject::connect(interfaces_[0].get(), &MprisInterface::Seeked, interfaces_[0].get(),
                         [this](qlonglong position) { seeks_.append(position); });
        // A round trip from the client's connection: its signal subscriptions are in place.
        ASSERT_EQ(get("CanControl"), true);
    }

    // Opens the three files and starts the first; false unless its cover is published in time.
    bool playAll() {
        items_ = player_->open({tagged_, plain_, song_}, false);
        if (items_.size() != 3) return false;
        player_->playItem(items_[0], false);
        return spinUntil([this] { return metadata().contains("mpris:artUrl"); }, 15);
    }

    MprisInterface* properties() { return interfaces_[2].get(); }
    QDBusMessage call(const QString& method, const QVariantList& args = {}) {
        return interfaces_[0]->callAndWait(method, args);
    }
    QDBusMessage callRoot(const QString& method) { return interfaces_[1]->callAndWait(method); }
    QVariant get(const QString& property) {
        const QDBusMessage reply = properties()->callAndWait("Get", {kPlayer, property});
        if (reply.type() != QDBusMessage::ReplyMessage) return {};
        return unpacked(reply.arguments().value(0).value<QDBusVariant>().variant());
    }
    QDBusMessage set(const QString& property, const QVariant& value) {
        return properties()->callAndWait("Set", {kPlayer, property, QVariant::fromValue(QDBusVariant(value))});
    }
    QVariantMap metadata() { return get("Metadata").toMap(); }

    // What playerctl prints (trimmed) for `args` on this player; the event loop runs meanwhile.
    QString playerctl(const QStringList& args) {
        QProcess process;
        process.start("playerctl", QStringList{"--player=" + service_->busName().section('.', 3)} + args);
        EXPECT_TRUE(spinUntil([&] { return process.state() == QProcess::NotRunning; }, 30))
            << qPrintable(args.join(' '));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    // The property names of each PropertiesChanged that `action` caused. A volume change after
    // it ends the wait: it is announced after everything the action led to.
    Names announcedBy(const std::function<void()>& action) {
        changes_.clear();
        action();
        marker_ = marker_ == 0.5 ? 0.25 : 0.5;
        EXPECT_EQ(set("Volume", marker_).type(), QDBusMessage::ReplyMessage);
        EXPECT_TRUE(spinUntil([this] { return !changes_.isEmpty() && changes_.last().contains("Volume"); }, 10));
        Names names;
        for (const QVariantMap& change : changes_) names.append(change.keys());
        if (!names.isEmpty()) names.last().removeOne("Volume");
        if (!names.isEmpty() && names.last().isEmpty()) names.removeLast();
        return names;
    }

    MediaFactory media_;
    QTemporaryDir dataDir_;
    Queues queues_;
    std::unique_ptr<Preferences> preferences_;
    std::unique_ptr<Player> player_;
    std::unique_ptr<MprisService> service_;
    std::vector<std::unique_ptr<MprisInterface>> interfaces_;  // Player, root, Properties
    QList<QVariantMap> changes_;
    QList<qlonglong> seeks_;
    double marker_ = 1.0;
    QString tagged_, plain_, song_, folderCover_;
    QByteArray embeddedCover_;
    QList<PlaylistItemRef> items_;
};

TEST_F(MprisServiceTest, EmptyPlaylistIsStoppedWithoutMetadataAndRefusesPlay) {
    EXPECT_EQ(errorName(call("Play")), "org.mpris.MediaPlayer2.Sonvale.Error.NoCurrentTrack");
    EXPECT_EQ(errorName(call("PlayPause")), "org.mpris.MediaPlayer2.Sonvale.Error.NoCurrentTrack");
    EXPECT_EQ(callRoot("Raise").type(), QDBusMessage::ReplyMessage);  // without a window: nothing
    EXPECT_EQ(playerctl({"status"}), "Stopped");
    EXPECT_EQ(get("Metadata"), QVariantMap());
    EXPECT_EQ(get("Position"), 0);
    for (const char* name : {"CanPlay", "CanPause", "CanSeek", "CanGoNext", "CanGoPrevious"})
        EXPECT_EQ(get(name), false) << name;
    EXPECT_EQ(announcedBy([] {}), Names());
    EXPECT_FALSE(player_->isPlaying());
}

TEST_F(MprisServiceTest, MetadataOfTaggedUntaggedAndFolderCoveredTracks) {
    ASSERT_TRUE(playAll());
    QVariantMap tagged = metadata();
    const QString cover = tagged.take("mpris:artUrl").toString();
    const QString coverPath = QUrl(cover).toLocalFile();
    EXPECT_EQ(QFileInfo(coverPath).path(),
              QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + "/Sonvale/covers");
    EXPECT_EQ(MediaFactory::readAll(coverPath), embeddedCover_);
    EXPECT_EQ(tagged, QVariantMap({{"mpris:trackid", id(items_[0])}, {"mpris:length", kLength},
                                   {"xesam:url", fileUrl(tagged_)}, {"xesam:title", "Morning"},
                                   {"xesam:artist", QStringList({"One", "Two"})}, {"xesam:album", "Dawn"},
                                   {"xesam:trackNumber", 3}}));
    EXPECT_EQ(playerctl({"status"}), "Playing");
    EXPECT_EQ(playerctl({"metadata", "--format", "{{title}}|{{artist}}|{{album}}|{{mpris:artUrl}}"}),
              "Morning|One, Two|Dawn|" + cover);

    // The record of a file without tags takes its title and album from the file and folder
    // names, as the playlist shows them; it has no artist, number or cover.
    EXPECT_EQ(playerctl({"next"}), "");
    ASSERT_TRUE(spinUntil([this] { return metadata().value("xesam:url") == fileUrl(plain_); }, 10));
    QVariantMap plain = metadata();
    EXPECT_NEAR(plain.take("mpris:length").toLongLong(), kLength, 100'000);
    EXPECT_EQ(plain, QVariantMap({{"mpris:trackid", id(items_[1])}, {"xesam:url", fileUrl(plain_)},
                                  {"xesam:title", "plain track"},
                                  {"xesam:album", QFileInfo(media_.dir()).fileName()}}));

    EXPECT_EQ(playerctl({"next"}), "");
    ASSERT_TRUE(spinUntil([this] { return metadata().contains("mpris:artUrl"); }, 10));
    EXPECT_EQ(metadata().value("mpris:artUrl"), fileUrl(folderCover_));
    EXPECT_EQ(playerctl({"previous"}), "");
    EXPECT_TRUE(spinUntil([this] { return metadata().value("mpris:trackid") == id(items_[1]); }, 10));
}

TEST_F(MprisServiceTest, PropertiesChangedCarriesOnlyWhatChanged) {
    ASSERT_TRUE(playAll());
    EXPECT_EQ(announcedBy([this] { call("Pause"); }), Names({{"PlaybackStatus"}}));
    EXPECT_EQ(get("CanPause"), true);
    EXPECT_EQ(announcedBy([this] { call("Pause"); }), Names());
    EXPECT_EQ(announcedBy([this] { call("PlayPause"); }), Names({{"PlaybackStatus"}}));
    EXPECT_EQ(get("PlaybackStatus"), "Playing");
    EXPECT_EQ(announcedBy([this] { player_->playNext(); }), Names({{"CanGoPrevious", "Metadata"}}));
    EXPECT_EQ(announcedBy([this] { call("Seek", {qlonglong(1'000'000)}); }), Names());
    EXPECT_EQ(announcedBy([this] { set("LoopStatus", "Playlist"); }), Names({{"LoopStatus"}}));
    EXPECT_EQ(announcedBy([this] { set("Shuffle", true); }), Names({{"Shuffle"}}));
    EXPECT_EQ(announcedBy([this] { player_->open({song_}, true); }), Names());
    EXPECT_EQ(announcedBy([this] { call("Stop"); }),
              Names({{"CanGoNext", "CanGoPrevious", "CanPause", "CanPlay", "CanSeek", "Metadata", "PlaybackStatus"}}));
    EXPECT_EQ(changes_.first().value("Metadata"), QVariantMap());
    EXPECT_EQ(changes_.first().value("PlaybackStatus"), "Stopped");
}

TEST_F(MprisServiceTest, SeekedFollowsEverySeekWhateverCausedIt) {
    ASSERT_TRUE(playAll());
    EXPECT_EQ(call("Pause").type(), QDBusMessage::ReplyMessage);
    player_->seek(false, 5);  // as the window's slider and keys do
    ASSERT_TRUE(spinUntil([this] { return seeks_.size() == 1; }, 10));
    EXPECT_EQ(call("Seek", {qlonglong(1'500'000)}).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(spinUntil([this] { return seeks_.size() == 2; }, 10));
    // Paused, SetPosition still moves; one for another track, before the start or past the end
    // is dropped.
    call("SetPosition", {QVariant::fromValue(QDBusObjectPath("/org/sonvale/Sonvale/Track/0")), qlonglong(1'000'000)});
    call("SetPosition", {id(items_[0]), kLength + 1});
    call("SetPosition", {id(items_[0]), qlonglong(-1)});
    EXPECT_EQ(call("SetPosition", {id(items_[0]), qlonglong(2'500'000)}).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(spinUntil([this] { return seeks_.size() == 3; }, 10));
    EXPECT_EQ(playerctl({"position", "4"}), "");
    EXPECT_EQ(playerctl({"position", "2+"}), "");
    ASSERT_TRUE(spinUntil([this] { return seeks_.size() == 5; }, 10));
    EXPECT_EQ(seeks_, QList<qlonglong>({5'000'000, 6'500'000, 2'500'000, 4'000'000, 6'000'000}));
    EXPECT_EQ(get("Position"), qlonglong(6'000'000));
    EXPECT_EQ(playerctl({"position"}), "6.000000");
    EXPECT_EQ(get("PlaybackStatus"), "Paused");
}

TEST_F(MprisServiceTest, RepeatOneRestartIsAnnouncedAsASeek) {
    ASSERT_TRUE(playAll());
    EXPECT_EQ(playerctl({"loop", "Track"}), "");
    call("SetPosition", {id(items_[0]), kLength - 300'000});
    ASSERT_TRUE(spinUntil([this] { return seeks_.size() == 2; }, 15));
    // The track goes on into itself without a gap; the position announced is the one heard
    // then, which the test's sound server (a null sink nobody records) tells in coarse steps of
    // up to a second or more on a busy machine. Early in the 30-second track is the new pass.
    EXPECT_LT(seeks_[1], 5'000'000);
    EXPECT_EQ(metadata().value("mpris:trackid"), id(items_[0]));
    EXPECT_EQ(get("PlaybackStatus"), "Playing");
}

TEST_F(MprisServiceTest, ModesMapToLoopStatusAndShuffleBothWays) {
    ASSERT_TRUE(playAll());
    player_->playItem(items_[2], false);
    const std::vector<std::tuple<PlaybackMode, QString, bool>> shown = {
        {PlaybackMode::Normal, "None", false},     {PlaybackMode::RepeatAll, "Playlist", false},
        {PlaybackMode::RepeatOne, "Track", false}, {PlaybackMode::Shuffle, "Playlist", true},
        {PlaybackMode::Single, "None", false}};
    for (const auto& [mode, loop, shuffle] : shown) {
        player_->setPlaybackMode(mode);
        EXPECT_EQ(QVariantList({get("LoopStatus"), get("Shuffle")}), QVariantList({loop, shuffle})) << int(mode);
        // On the last item, whatever the mode.
        EXPECT_EQ(QVariantList({get("CanGoNext"), get("CanGoPrevious")}), QVariantList({false, true})) << int(mode);
    }
    // Single shows as None; writing what is shown keeps it, and an unknown status changes nothing.
    set("LoopStatus", "None");
    set("Shuffle", false);
    set("LoopStatus", "Sometimes");
    EXPECT_EQ(player_->playbackMode(), PlaybackMode::Single);

    const std::vector<std::tuple<QString, QVariant, PlaybackMode>> writes = {
        {"LoopStatus", "Track", PlaybackMode::RepeatOne}, {"LoopStatus", "Playlist", PlaybackMode::RepeatAll},
        {"Shuffle", true, PlaybackMode::Shuffle},         {"Shuffle", false, PlaybackMode::Normal},
        {"LoopStatus", "Playlist", PlaybackMode::RepeatAll}, {"LoopStatus", "None", PlaybackMode::Normal}};
    for (const auto& [property, value, mode] : writes) {
        EXPECT_EQ(set(property, value).type(), QDBusMessage::ReplyMessage);
        EXPECT_EQ(player_->playbackMode(), mode) << qPrintable(property + ' ' + value.toString());
        EXPECT_EQ(Preferences().playbackMode, mode);  // saved
    }
    EXPECT_EQ(playerctl({"shuffle", "On"}), "");
    EXPECT_EQ(player_->playbackMode(), PlaybackMode::Shuffle);
    EXPECT_EQ(playerctl({"loop"}), "Playlist");
}

TEST_F(MprisServiceTest, VolumeIsClampedAndFollowsTheWindow) {
    EXPECT_EQ(set("Volume", 0.25).type(), QDBusMessage::ReplyMessage);
    EXPECT_FLOAT_EQ(player_->volume(), 0.25f);
    set("Volume", 1.7);
    EXPECT_FLOAT_EQ(player_->volume(), 1.0f);
    set("Volume", -2.0);
    EXPECT_FLOAT_EQ(player_->volume(), 0.0f);
    EXPECT_EQ(playerctl({"volume", "0.5"}), "");
    EXPECT_FLOAT_EQ(player_->volume(), 0.5f);
    ASSERT_TRUE(spinUntil([this] { return !changes_.isEmpty() && changes_.last().value("Volume") == 0.5; }, 10));
    changes_.clear();
    player_->setVolume(0.75f);
    ASSERT_TRUE(spinUntil([this] { return !changes_.isEmpty(); }, 10));
    EXPECT_EQ(changes_, QList<QVariantMap>({{{"Volume", 0.75}}}));
}

TEST_F(MprisServiceTest, MalformedCallsAreRefusedAndChangeNothing) {
    ASSERT_TRUE(playAll());
    call("Pause");
    const QVariantMap before = metadata();
    const QString unknownMethod = u"org.freedesktop.DBus.Error.UnknownMethod"_s;
    EXPECT_EQ(errorName(call("Seek", {"soon"})), unknownMethod);
    EXPECT_EQ(errorName(call("SetPosition", {"/x", qlonglong(0)})), unknownMethod);
    EXPECT_EQ(errorName(call("OpenUri", {42})), unknownMethod);
    EXPECT_EQ(errorName(call("OpenUri", {"https://example.org/a.flac"})),
              "org.mpris.MediaPlayer2.Sonvale.Error.UnsupportedUri");
    EXPECT_EQ(errorName(call("OpenUri", {fileUrl(media_.path("missing.flac"))})),
              "org.mpris.MediaPlayer2.Sonvale.Error.FileNotFound");
    EXPECT_EQ(set("Volume", "loud").type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(errorName(set("PlaybackStatus", "Playing")), "org.freedesktop.DBus.Error.PropertyReadOnly");
    EXPECT_EQ(metadata(), before);
    EXPECT_EQ(player_->playlist().items, items_);
    EXPECT_EQ(get("PlaybackStatus"), "Paused");
    EXPECT_FLOAT_EQ(player_->volume(), 1.0f);

    // A well-formed file URI replaces the playlist and plays.
    EXPECT_EQ(playerctl({"open", fileUrl(plain_)}), "");
    ASSERT_TRUE(spinUntil([this] { return metadata().value("xesam:url") == fileUrl(plain_); }, 10));
    EXPECT_EQ(player_->playlist().items.size(), 1);
    EXPECT_EQ(get("PlaybackStatus"), "Playing");
}

TEST_F(MprisServiceTest, HooksRunForRaiseQuitAndOpenUri) {
    int raised = 0;
    int quit = 0;
    QStringList opened;
    startService({.raise = [&] { ++raised; },
                  .quit = [&] { ++quit; },
                  .openFile = [&](const QString& path) {
                      opened.append(path);
                      return path.endsWith(".flac");
                  }});
    EXPECT_EQ(callRoot("Raise").type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(callRoot("Quit").type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(spinUntil([&] { return raised == 1 && quit == 1; }, 10));
    EXPECT_EQ(call("OpenUri", {fileUrl(tagged_)}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(errorName(call("OpenUri", {fileUrl(plain_)})), "org.mpris.MediaPlayer2.Sonvale.Error.CannotOpen");
    EXPECT_EQ(opened, QStringList({tagged_, plain_}));
    EXPECT_TRUE(player_->playlist().items.isEmpty());
    TearDown();  // before the hooks' captures go
}

}  // namespace
