#pragma once

#include "Track.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringView>

namespace sonvale {

// The tokens of a batch of tracks, gathered before they are written to the token tables.
// A plain value: one thread at a time.
class Index {
public:
    // Tokenizes every index text of `track` (see indexTexts) and appends the track once to the
    // list of each token found, however often the token occurs in its texts.
    void add(const TrackRef& track);

    // Token → the tracks that contain it, in the order they were added.
    QHash<QString, QList<TrackRef>> occurences;
};

// A 64-bit digest of the texts add() takes a track's tokens from, in their order and spelling,
// and of the version of the tokenizer's rules: tracks with equal digests get the same tokens
// (two different texts share a digest by accident with a chance of about 2^-64). The same from
// run to run, as it is kept in the database. Pure function.
quint64 indexTextsDigest(const Track& track);
// The same digest from the texts themselves: a track's path, title, artist and album.
quint64 indexTextsDigest(QStringView path, QStringView title, QStringView artist, QStringView album);

}  // namespace sonvale
