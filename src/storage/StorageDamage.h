#pragma once

#include <QString>

namespace sonvale {

// Remembers, for the whole process, which database files SQLite found damaged (SQLITE_CORRUPT
// or SQLITE_NOTADB). The SQLite layer notes every such result here, so that the first one is
// logged clearly and the ones after it do not fill the log, and the database object can tell
// afterwards that its file is damaged. Thread-safe.
class StorageDamage {
public:
    // True for SQLITE_CORRUPT and SQLITE_NOTADB, extended codes included.
    static bool isDamageCode(int code);
    // Notes that `path` gave the damage code `code` with SQLite's `message`, in place of the
    // layer's "DB Error" line. The first note for a path logs "The library database <path> is
    // damaged: <message> (<code>)" at error level and returns true; later notes return false and
    // log nothing.
    static bool note(const QString& path, int code, const QString& message);
    // Notes `path` as damaged without logging: for reading a file already known to be damaged.
    static void expect(const QString& path);
    static bool seen(const QString& path);
    // Forgets `path`: a new file took its place.
    static void forget(const QString& path);
};

}  // namespace sonvale
