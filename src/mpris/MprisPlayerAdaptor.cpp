#include "MprisPlayerAdaptor.h"

#include "MprisMetadata.h"
#include "Player.h"

#include <QFileInfo>
#include <QMetaProperty>
#include <QUrl>

#include <algorithm>
#include <cmath>

namespace sonvale {

namespace {

const QString kNone = QStringLiteral("None");
const QString kPlaylist = QStringLiteral("Playlist");
const QString kTrack = QStringLiteral("Track");

qlonglong microseconds(double seconds) { return std::llround(seconds * 1e6); }

}  // namespace

MprisPlayerAdaptor::MprisPlayerAdaptor(QObject* parent, Player& player, std::function<bool(const QString&)> openFile,
                                       const QDBusConnection& bus)
    : QDBusAbstractAdaptor(parent), player_(player), openFile_(std::move(openFile)), bus_(bus) {}

QVariantMap MprisPlayerAdaptor::announcedProperties() const {
    QVariantMap properties;
    const QMetaObject* meta = metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (qstrcmp(property.name(), "Position") == 0) continue;
        properties.insert(QString::fromLatin1(property.name()), property.read(this));
    }
    return properties;
}

void MprisPlayerAdaptor::setArtUrl(PlaylistItemRef item, QString url) {
    artItem_ = std::move(item);
    artUrl_ = std::move(url);
}

void MprisPlayerAdaptor::announceSeek() { emit Seeked(position()); }

QString MprisPlayerAdaptor::playbackStatus() const {
    if (!hasCurrent()) return QStringLiteral("Stopped");
    return player_.isPlaying() ? QStringLiteral("Playing") : QStringLiteral("Paused");
}

QString MprisPlayerAdaptor::loopStatus() const {
    switch (player_.playbackMode()) {
    case PlaybackMode::RepeatAll:
    case PlaybackMode::Shuffle: return kPlaylist;
    case PlaybackMode::RepeatOne: return kTrack;
    case PlaybackMode::Normal:
    case PlaybackMode::Single: break;
    }
    return kNone;
}

void MprisPlayerAdaptor::setLoopStatus(const QString& status) {
    if (status == loopStatus()) return;
    if (status == kNone) player_.setPlaybackMode(PlaybackMode::Normal);
    if (status == kPlaylist) player_.setPlaybackMode(PlaybackMode::RepeatAll);
    if (status == kTrack) player_.setPlaybackMode(PlaybackMode::RepeatOne);
}

bool MprisPlayerAdaptor::shuffle() const { return player_.playbackMode() == PlaybackMode::Shuffle; }

void MprisPlayerAdaptor::setShuffle(bool on) {
    if (on == shuffle()) return;
    player_.setPlaybackMode(on ? PlaybackMode::Shuffle : PlaybackMode::Normal);
}

QVariantMap MprisPlayerAdaptor::metadata() const {
    const PlaylistItemRef& current = player_.current();
    if (!current) return {};
    return MprisMetadata::of(*current, current == artItem_ ? artUrl_ : QString());
}

double MprisPlayerAdaptor::volume() const { return player_.volume(); }

void MprisPlayerAdaptor::setVolume(double volume) {
    if (std::isnan(volume)) return;
    player_.setVolume(static_cast<float>(std::clamp(volume, 0.0, 1.0)));
}

qlonglong MprisPlayerAdaptor::position() const { return hasCurrent() ? microseconds(player_.elapsed()) : 0; }

bool MprisPlayerAdaptor::canGoNext() const { return player_.hasNext(); }

bool MprisPlayerAdaptor::canGoPrevious() const { return player_.hasPrevious(); }

bool MprisPlayerAdaptor::hasCurrent() const { return player_.current() != nullptr; }

void MprisPlayerAdaptor::Play(const QDBusMessage& message) {
    if (!hasCurrent()) {
        refuse(message, "NoCurrentTrack", QStringLiteral("There is no current track to play"));
        return;
    }
    player_.playItem(player_.current(), false);
}

void MprisPlayerAdaptor::Pause() { player_.pause(); }

void MprisPlayerAdaptor::PlayPause(const QDBusMessage& message) {
    if (!hasCurrent()) {
        refuse(message, "NoCurrentTrack", QStringLiteral("There is no current track to play"));
        return;
    }
    player_.togglePlayPause();
}

void MprisPlayerAdaptor::Stop() { player_.stop(); }

void MprisPlayerAdaptor::Next() { player_.playNext(); }

void MprisPlayerAdaptor::Previous() { player_.playPrevious(); }

void MprisPlayerAdaptor::Seek(qlonglong offset) { player_.seek(true, double(offset) / 1e6); }

void MprisPlayerAdaptor::SetPosition(const QDBusObjectPath& trackId, qlonglong position) {
    const PlaylistItemRef& current = player_.current();
    // A position meant for another track, or past this one, is dropped as MPRIS asks.
    if (!current || trackId != MprisMetadata::trackId(*current) || position < 0) return;
    const double duration = current->track()->duration;
    if (duration > 0 && position > microseconds(duration)) return;
    player_.seek(false, double(position) / 1e6);
}

void MprisPlayerAdaptor::OpenUri(const QString& uri, const QDBusMessage& message) {
    const QUrl url(uri, QUrl::StrictMode);
    if (!url.isValid() || !url.isLocalFile()) {
        refuse(message, "UnsupportedUri", QStringLiteral("Only file:// URIs can be opened: ") + uri);
        return;
    }
    const QString path = url.toLocalFile();
    if (!QFileInfo(path).isFile()) {
        refuse(message, "FileNotFound", QStringLiteral("No such file: ") + path);
        return;
    }
    if (!openFile_(path)) refuse(message, "CannotOpen", QStringLiteral("Cannot open ") + path);
}

void MprisPlayerAdaptor::refuse(const QDBusMessage& message, const char* name, const QString& text) {
    // The reply Qt would send on return is replaced by the error.
    message.setDelayedReply(true);
    const QString error = QStringLiteral("org.mpris.MediaPlayer2.Sonvale.Error.") + QLatin1String(name);
    bus_.send(message.createErrorReply(error, text));
}

}  // namespace sonvale
