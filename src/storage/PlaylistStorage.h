#pragma once

#include "Track.h"

#include <QList>

namespace sonvale {

// The one saved playlist. Calls block the calling thread while the database runs them; any
// thread may call.
class PlaylistStorage {
public:
    virtual ~PlaylistStorage() = default;

    // Replaces the saved playlist with `tracks` (stored records, none null), in order, in one
    // transaction. False, with the error logged and the previous playlist kept, when any
    // statement fails or the database is unavailable.
    virtual bool savePlaylist(const QList<TrackRef>& tracks) = 0;
    // The saved playlist in order, without lyrics and chapters; entries whose record is gone
    // are left out. A read error ends the list early.
    virtual QList<TrackRef> loadPlaylist() = 0;
};

}  // namespace sonvale
