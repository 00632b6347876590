#pragma once

#include "CoverCache.h"
#include "OperationQueue.h"
#include "PlaylistItem.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace sonvale {

class MprisPlayerAdaptor;
class Player;

// What the program does for the MPRIS calls the player cannot carry out by itself. Each runs
// on the main thread; an empty one takes the default.
struct MprisHooks {
    std::function<void()> raise = {};  // Raise: show the window (default: nothing)
    std::function<void()> quit = {};   // Quit: end the program (default: nothing)
    // OpenUri with an existing local file; false when it could not be opened. Default: replace
    // the playlist with the file and play it.
    std::function<bool(const QString& path)> openFile = {};
};

// Publishes the player on the session bus as an MPRIS media player, so that media keys,
// desktop shells and playerctl can see and drive it: the object /org/mpris/MediaPlayer2 with
// the interfaces org.mpris.MediaPlayer2 (MprisRootAdaptor) and org.mpris.MediaPlayer2.Player
// (MprisPlayerAdaptor), under a well-known bus name.
//
// After every change of the player (play, pause, stop, current item, seek, playlist, mode,
// volume, the current item's metadata or artwork) it compares the Player interface's
// properties with those it last announced and sends one PropertiesChanged with the changed
// ones only, once the event loop has run the player's signals. Every seek also sends Seeked
// with the new position. Embedded covers are written to CoverCache on a thread of the
// service's own; a folder image is published under its own file URL.
//
// Threads: make, use and destroy on the main thread, whose event loop must run; `player` must
// outlive the service.
// Failure: without a session bus, or when the object path or bus name is taken, the service
// logs one warning (sonvale.mpris), publishes nothing and leaves the player alone.
class MprisService : public QObject {
    Q_OBJECT
public:
    // "org.mpris.MediaPlayer2.sonvale".
    static QString defaultBusName();
    // For a further copy of the program: "org.mpris.MediaPlayer2.sonvale.instance<process id>".
    static QString instanceBusName();
    // defaultBusName() unless another connection owns it on the session bus, then
    // instanceBusName(). Blocks on a bus round trip.
    static QString availableBusName();

    explicit MprisService(Player& player, MprisHooks hooks = {}, QString busName = defaultBusName(),
                          QObject* parent = nullptr);
    ~MprisService() override;
    MprisService(const MprisService&) = delete;
    MprisService& operator=(const MprisService&) = delete;

    // Whether the name and object were registered.
    bool isPublished() const { return published_; }
    const QString& busName() const { return busName_; }

private:
    bool publish();
    void connectPlayer();
    // Runs refresh() once the signals queued so far have been handled.
    void scheduleRefresh();
    void refresh();
    void artworkLoaded(const PlaylistItemRef& item, const QByteArray& picture);

    Player& player_;
    QString busName_;
    QDBusConnection bus_;
    MprisPlayerAdaptor* playerAdaptor_ = nullptr;  // child
    QVariantMap announced_;
    bool published_ = false;
    bool refreshPending_ = false;
    CoverCache covers_;
    // Last, so that it is destroyed first: it waits for its running cover operation, which
    // uses `covers_` and posts to this object.
    OperationQueue coverQueue_{OperationQueue::Priority::background};
};

}  // namespace sonvale
