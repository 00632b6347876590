#pragma once

#include "Index.h"
#include "Track.h"

#include <QList>

namespace sonvale {

// What a scan writes for a run of files, in one transaction and in this order: the records of
// new files (each gets its pk; 0 when it could not be stored, and it is then left out of the
// rest), the records to write back whole (with lyrics and chapters), the tracks whose tokens
// are deleted, then the tokens of `index`. A plain value.
struct ScanBatch {
    QList<TrackRef> inserted;
    QList<TrackRef> updated;
    QList<qint64> cleared;
    Index index;

    bool isEmpty() const {
        return inserted.isEmpty() && updated.isEmpty() && cleared.isEmpty() && index.occurences.isEmpty();
    }
};

}  // namespace sonvale
