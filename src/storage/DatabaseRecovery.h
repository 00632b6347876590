#pragma once

#include "Folder.h"

#include <QList>
#include <QString>

#include <optional>

namespace sonvale {

// What became of a library database found damaged when it was opened: the damaged file was
// kept beside the new one under `damagedCopy` (with its journal, if it had one), and what could
// still be read of it was written into the new one. A plain value.
struct DatabaseRecovery {
    // The file kept: "<database>.damaged-YYYYMMDD-HHMMSS".
    QString damagedCopy;
    // SQLite's description of the damage.
    QString problem;
    // The library folders carried over, as stored in the new file, none marked as scanned: each
    // must be scanned again.
    QList<Folder> folders;
    // For each entry of the new saved playlist, its position in the damaged file's playlist.
    QList<qint64> playlistOrigins;
    // Entries of the damaged playlist that could not be read.
    qsizetype playlistLost = 0;

    // Where the entry that stood at `position` of the damaged playlist stands now; none when it
    // was lost or there was none.
    std::optional<qint64> positionOf(std::optional<qint64> position) const {
        if (!position) return std::nullopt;
        const qsizetype index = playlistOrigins.indexOf(*position);
        return index < 0 ? std::nullopt : std::optional<qint64>(index);
    }
};

}  // namespace sonvale
