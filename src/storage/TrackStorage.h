#pragma once

#include "Track.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace sonvale {

// A record of a library folder as a scan compares it with its file: what tells whether the
// file changed since it was read, and whether the record's search tokens are still those of
// its texts. The scan builds a whole record only for a file that needs one.
struct StoredFile {
    qint64 pk = 0;
    TrackStatus status = TrackStatus::none;
    qint64 metaVersion = 0;
    qint64 size = 0;  // read as a 32-bit integer, as a whole record's is
    qint64 timestamp = 0;
    // indexTextsDigest of the record's texts with its stored (composed) path.
    quint64 textsDigest = 0;
    // The digest of the texts its search tokens were made from, when they are known to be
    // exactly those (see IndexStorage).
    std::optional<quint64> indexed;
};

// The records of a library folder as a scan finds them: `files[i]` is the record of the path
// the scan put at position i (pk 0 where none stays), one entry per position.
struct FolderRecords {
    QList<StoredFile> files;
};

// Finding, creating and updating track records. Paths are compared in Unicode normalization
// form C: a path spelled decomposed and the same path composed name the same record. Calls
// block the calling thread while the database runs them; any thread may call. Failures are
// logged and give the empty result (nullptr, or nothing done).
class TrackStorage {
public:
    virtual ~TrackStorage() = default;

    // The record stored for `path`, without its lyrics and chapters; nullptr when there is
    // none or its stored status is unknown.
    virtual TrackRef track(const QString& path) = 0;
    // The records of `paths`, in order, each as track() gives it (nullptr where there is
    // none), read in one read transaction: one lock for many look-ups.
    virtual QList<TrackRef> tracks(const QStringList& paths) = 0;
    // Stores a new record for `path` with status none and no metadata, and returns it (with
    // `path` as given). nullptr when no row id came back. When the insert itself fails (for
    // example because the path is already stored) the connection's last inserted row id is
    // still taken, which may belong to another record: callers look the path up first.
    virtual TrackRef insertTrack(const QString& path) = 0;
    // The records of `paths`, in order: each looked up as track() does, or stored as
    // insertTrack() does when there is none, all in one transaction. An entry is nullptr where
    // neither gave a record.
    virtual QList<TrackRef> findOrInsertTracks(const QStringList& paths) = 0;
    // Writes every stored field of `track` to the row `track.pk`, then replaces its lyrics and
    // chapters. Each statement commits on its own: a failure midway keeps the earlier ones.
    virtual void updateTrack(const Track& track) = 0;
    // Deletes the records of folder `folderPk` whose path is not in `found` (with their
    // lyrics, chapters and search tokens), in one transaction, and returns the records that
    // stay as the scan compares them (StoredFile), each at its path's position in `found`
    // (positions from 0; a path spelled decomposed finds the composed one): the folder's rows
    // read once.
    // Every other record of the folder loses its tokens: a record still in the saved playlist
    // cannot be deleted and stays without them, and so does one whose stored status is unknown.
    virtual FolderRecords removeMissingTracks(qint64 folderPk, const QHash<QString, qsizetype>& found) = 0;
};

}  // namespace sonvale
