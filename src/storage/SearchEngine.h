#pragma once

#include <QString>
#include <QStringList>

namespace sonvale {

// Finding tracks by word prefixes. Calls block the calling thread while the database runs
// them (waiting for an index write in progress); any thread may call.
class SearchEngine {
public:
    virtual ~SearchEngine() = default;

    // The paths of the tracks with a folder for which every token of `query` begins one of the
    // track's tokens, sorted bytewise, at most 5000. For a one-word query only 5000 of the
    // matching tokens are considered. Empty for a query without tokens and when the database
    // is unavailable; a read error ends the list early.
    virtual QStringList search(const QString& query) = 0;
    // Does ahead of time what the first search would do before it can answer (loading an index,
    // say), so that the first query typed is answered quickly. Blocks like search; any thread.
    virtual void prepareSearch() {}
};

}  // namespace sonvale
