#pragma once

#include "Index.h"
#include "ScanBatch.h"

#include <QString>

#include <optional>

namespace sonvale {

// Writing the search tokens of tracks. Calls block the calling thread while the database runs
// them; any thread may call. Token ids never change once given, so they are cached for the
// database's lifetime.
//
// Beside the tokens, storage keeps for a track whose tokens are known to be exactly one row per
// token of its texts the digest of those texts (indexTextsDigest), so that a scan can keep the
// tokens of a track whose texts did not change instead of writing them again. Only a scan batch
// records a digest; every other write of a track's tokens forgets it.
class IndexStorage {
public:
    virtual ~IndexStorage() = default;

    // The id of token `text` (stored in normalization form C), created when new; std::nullopt
    // when it can be neither found nor stored.
    virtual std::optional<qint64> tokenId(const QString& text) = 0;
    // Adds one occurrence row per token and distinct track (by pk) of `index`, in one
    // transaction that commits whatever single rows failed (each failure is logged). Existing
    // rows are not looked for: clear a folder before indexing it again. The digests of the
    // tracks given tokens are forgotten.
    virtual void saveIndex(const Index& index) = 0;
    // Deletes the occurrences of the tracks of folder `folderPk`, and their digests.
    virtual void clearIndex(qint64 folderPk) = 0;
    // Writes `batch` in one transaction (see ScanBatch), filling in the pks of its new tracks,
    // and records the digests of its `indexed` tracks (but not of one whose rows could not all
    // be written). False, with nothing written, when the transaction could not begin or
    // commit; single failed rows are logged and the rest is still written.
    virtual bool saveScanBatch(ScanBatch& batch) = 0;
};

}  // namespace sonvale
