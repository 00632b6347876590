#pragma once

#include "Index.h"
#include "Track.h"

#include <QList>

#include <utility>

namespace sonvale {

// What a scan writes for a run of files, in one transaction and in this order: the records of
// new files (each gets its pk; 0 when it could not be stored, and it is then left out of the
// rest), the records to write back whole (with lyrics and chapters), the tracks whose tokens
// are deleted, the tokens of `index`, then what is known of the tokens each track now has:
// `indexed` are the tracks whose tokens are now exactly those of texts with the given digest
// (indexTextsDigest: they had none before this batch and are in `index` once), `unknown` the
// tracks that got tokens on top of others they may have had. A plain value.
struct ScanBatch {
    QList<TrackRef> inserted;
    QList<TrackRef> updated;
    QList<qint64> cleared;
    Index index;
    QList<std::pair<TrackRef, quint64>> indexed;
    QList<qint64> unknown;

    bool isEmpty() const {
        return inserted.isEmpty() && updated.isEmpty() && cleared.isEmpty() && index.occurences.isEmpty() &&
               indexed.isEmpty() && unknown.isEmpty();
    }
};

}  // namespace sonvale
