#pragma once

#include "Track.h"

#include <QStringList>

namespace sonvale {

// What a track offers to the token index, in this order: the whole path, title, artist and
// album, leaving out the empty ones.
inline QStringList indexTexts(const Track& track) {
    QStringList texts;
    for (const QString* text : {&track.path, &track.title, &track.artist, &track.album}) {
        if (!text->isEmpty()) texts.append(*text);
    }
    return texts;
}

}  // namespace sonvale
