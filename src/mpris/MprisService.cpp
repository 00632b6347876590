#include "MprisService.h"

#include "MprisLog.h"
#include "MprisMetadata.h"
#include "MprisPlayerAdaptor.h"
#include "MprisRootAdaptor.h"
#include "Player.h"
#include "TrackMetadata.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>

namespace sonvale {

namespace {

const QString kObjectPath = QStringLiteral("/org/mpris/MediaPlayer2");

// The default for OpenUri: the file replaces the playlist and plays.
bool openAndPlay(Player& player, const QString& path) {
    const QList<PlaylistItemRef> items = player.open({path}, false);
    if (items.isEmpty()) return false;
    player.playItem(items.front(), false);
    return player.current() == items.front();
}

// Where clients find `picture`, the artwork of the file at `trackPath`: the folder image's own
// URL when the picture is that image, otherwise a copy in `covers`; empty when no copy could
// be written. Blocking file input and output.
QString artUrlFor(const QString& trackPath, const QByteArray& picture, CoverCache& covers) {
    if (const std::optional<QString> image = folderArtworkPath(trackPath)) {
        QFile file(*image);
        if (file.size() == picture.size() && file.open(QIODevice::ReadOnly) && file.readAll() == picture)
            return MprisMetadata::fileUrl(*image);
    }
    const QString stored = covers.store(picture);
    return stored.isEmpty() ? QString() : MprisMetadata::fileUrl(stored);
}

}  // namespace

QString MprisService::defaultBusName() { return QStringLiteral("org.mpris.MediaPlayer2.sonvale"); }

QString MprisService::instanceBusName() {
    return defaultBusName() + QStringLiteral(".instance") + QString::number(QCoreApplication::applicationPid());
}

QString MprisService::availableBusName() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusConnectionInterface* const daemon = bus.isConnected() ? bus.interface() : nullptr;
    if (daemon && daemon->isServiceRegistered(defaultBusName()).value()) return instanceBusName();
    return defaultBusName();
}

MprisService::MprisService(Player& player, MprisHooks hooks, QString busName, QObject* parent)
    : QObject(parent), player_(player), busName_(std::move(busName)), bus_(QDBusConnection::sessionBus()) {
    if (!hooks.openFile) hooks.openFile = [&player](const QString& path) { return openAndPlay(player, path); };
    new MprisRootAdaptor(this, std::move(hooks.raise), std::move(hooks.quit));
    playerAdaptor_ = new MprisPlayerAdaptor(this, player, std::move(hooks.openFile), bus_);
    if (!publish()) return;
    announced_ = playerAdaptor_->announcedProperties();
    connectPlayer();
}

MprisService::~MprisService() {
    if (!published_) return;
    bus_.unregisterService(busName_);
    bus_.unregisterObject(kObjectPath);
}

bool MprisService::publish() {
    if (!bus_.isConnected()) {
        qCWarning(lcMpris, "MPRIS is off: no session bus (%s)", qUtf8Printable(bus_.lastError().message()));
        return false;
    }
    if (!bus_.registerObject(kObjectPath, this, QDBusConnection::ExportAdaptors)) {
        qCWarning(lcMpris, "MPRIS is off: %s is already published by this program", qUtf8Printable(kObjectPath));
        return false;
    }
    if (!bus_.registerService(busName_)) {
        qCWarning(lcMpris, "MPRIS is off: the bus name %s is taken or invalid", qUtf8Printable(busName_));
        bus_.unregisterObject(kObjectPath);
        return false;
    }
    published_ = true;
    return true;
}

void MprisService::connectPlayer() {
    const auto changed = [this] { scheduleRefresh(); };
    connect(&player_, &Player::trackSetup, this, changed);
    connect(&player_, &Player::trackChanged, this, changed);
    connect(&player_, &Player::playbackStarted, this, changed);
    connect(&player_, &Player::playbackPaused, this, changed);
    connect(&player_, &Player::playbackStopped, this, changed);
    connect(&player_, &Player::playlistUpdated, this, changed);
    connect(&player_, &Player::playbackModeChanged, this, changed);
    connect(&player_, &Player::volumeChanged, this, changed);
    connect(&player_, &Player::metaLoaded, this, [this](const PlaylistItemRef& item) {
        if (item == player_.current()) scheduleRefresh();
    });
    connect(&player_, qOverload<PlaylistItemRef>(&Player::seek), this, [this](const PlaylistItemRef& item) {
        if (item != player_.current()) return;
        playerAdaptor_->announceSeek();
        scheduleRefresh();
    });
    connect(&player_, &Player::artworkLoaded, this, &MprisService::artworkLoaded);
}

void MprisService::scheduleRefresh() {
    // One player call emits several signals (a track change: setup, change, start); they are
    // announced together.
    if (refreshPending_) return;
    refreshPending_ = true;
    QMetaObject::invokeMethod(this, [this] { refresh(); }, Qt::QueuedConnection);
}

void MprisService::refresh() {
    refreshPending_ = false;
    const QVariantMap now = playerAdaptor_->announcedProperties();
    QVariantMap changed;
    for (auto it = now.cbegin(); it != now.cend(); ++it) {
        if (announced_.value(it.key()) != it.value()) changed.insert(it.key(), it.value());
    }
    announced_ = now;
    if (changed.isEmpty()) return;
    QDBusMessage signal = QDBusMessage::createSignal(kObjectPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                                     QStringLiteral("PropertiesChanged"));
    signal << QStringLiteral("org.mpris.MediaPlayer2.Player") << changed << QStringList();
    bus_.send(signal);
}

void MprisService::artworkLoaded(const PlaylistItemRef& item, const QByteArray& picture) {
    if (item != player_.current()) return;
    if (picture.isEmpty()) {
        playerAdaptor_->setArtUrl(item, {});
        scheduleRefresh();
        return;
    }
    const QString trackPath = item->track()->path;
    coverQueue_.addOperation([this, item, trackPath, picture](const Operation&) {
        const QString url = artUrlFor(trackPath, picture, covers_);
        QMetaObject::invokeMethod(this, [this, item, url] {
            if (item != player_.current()) return;
            playerAdaptor_->setArtUrl(item, url);
            scheduleRefresh();
        }, Qt::QueuedConnection);
    });
}

}  // namespace sonvale
