#pragma once

#include "PlaylistItem.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QVariantMap>

#include <functional>

namespace sonvale {

class Player;

// org.mpris.MediaPlayer2.Player: the player's state as properties, its controls as methods.
// Every property is read live from the player; MprisService announces the changes.
//
// Positions are in microseconds. Playback modes show as LoopStatus and Shuffle: Normal
// None/false, RepeatAll Playlist/false, RepeatOne Track/false, Shuffle Playlist/true, Single
// None/false. Writing LoopStatus None, Playlist or Track sets Normal, RepeatAll or RepeatOne;
// writing Shuffle true sets Shuffle, false sets Normal. A write of the value already shown
// changes nothing (Single stays Single when None is written), and unknown values are ignored.
// Writes of Rate are ignored (the rate is always 1); Volume is clamped to 0..1.
//
// Threads: main thread, made by MprisService as a child of the object it registers; `player`
// must outlive it.
// Failure: Play and PlayPause without a current item, and OpenUri with anything but an
// existing local file or a file the opener refuses, answer with an error
// (org.mpris.MediaPlayer2.Sonvale.Error.*) and change nothing.
class MprisPlayerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
    Q_PROPERTY(double Rate READ rate WRITE ignoreRate)
    Q_PROPERTY(bool Shuffle READ shuffle WRITE setShuffle)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double MinimumRate READ rate CONSTANT)
    Q_PROPERTY(double MaximumRate READ rate CONSTANT)
    Q_PROPERTY(bool CanGoNext READ canGoNext)
    Q_PROPERTY(bool CanGoPrevious READ canGoPrevious)
    Q_PROPERTY(bool CanPlay READ hasCurrent)
    Q_PROPERTY(bool CanPause READ hasCurrent)
    Q_PROPERTY(bool CanSeek READ hasCurrent)
    Q_PROPERTY(bool CanControl READ canControl CONSTANT)

public:
    // `openFile` opens an existing local file for OpenUri; false when it could not. Errors are
    // answered on `bus`, the connection the parent is registered on.
    MprisPlayerAdaptor(QObject* parent, Player& player, std::function<bool(const QString& path)> openFile,
                       const QDBusConnection& bus);

    // Every property but Position (which clients are never told of), by D-Bus name: the
    // values MprisService compares to announce changes.
    QVariantMap announcedProperties() const;
    // The cover URL of `item`, shown in Metadata while it is the current item.
    void setArtUrl(PlaylistItemRef item, QString url);
    // Emits Seeked with the current position.
    void announceSeek();

    QString playbackStatus() const;
    QString loopStatus() const;
    void setLoopStatus(const QString& status);
    double rate() const { return 1.0; }
    void ignoreRate(double) {}
    bool shuffle() const;
    void setShuffle(bool shuffle);
    QVariantMap metadata() const;
    double volume() const;
    void setVolume(double volume);
    qlonglong position() const;
    bool canGoNext() const;
    bool canGoPrevious() const;
    bool hasCurrent() const;
    bool canControl() const { return true; }

public slots:
    // The message arguments stay out of the D-Bus signatures; they are there to answer errors.
    void Play(const QDBusMessage& message);
    void Pause();
    void PlayPause(const QDBusMessage& message);
    void Stop();
    void Next();
    void Previous();
    void Seek(qlonglong offset);
    void SetPosition(const QDBusObjectPath& trackId, qlonglong position);
    void OpenUri(const QString& uri, const QDBusMessage& message);

signals:
    void Seeked(qlonglong position);

private:
    // Answers `message` with the error org.mpris.MediaPlayer2.Sonvale.Error.<name>.
    void refuse(const QDBusMessage& message, const char* name, const QString& text);

    Player& player_;
    std::function<bool(const QString&)> openFile_;
    QDBusConnection bus_;
    PlaylistItemRef artItem_;
    QString artUrl_;
};

}  // namespace sonvale
