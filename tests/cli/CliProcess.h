#pragma once

#include "DB.h"

#include <QByteArray>
#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

// What one run of the command-line program gave.
struct CliResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs the built command-line program with `args` to completion (one minute at most).
inline CliResult runCli(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(SONVALE_CLI), args);
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

// A library database in `dataDir` with indexed tracks at `paths` (no files) and folders with
// `roots`, which claim the tracks under them.
inline void makeLibrary(const QString& dataDir, const QStringList& roots, const QStringList& paths) {
    sonvale::DB db(dataDir);
    sonvale::Index index;
    for (const QString& path : paths) {
        const sonvale::TrackRef track = db.insertTrack(path);
        ASSERT_TRUE(track);
        index.add(track);
    }
    for (const QString& root : roots) {
        sonvale::Folder folder{std::nullopt, root, std::nullopt};
        ASSERT_TRUE(db.addFolder(folder));
    }
    db.saveIndex(index);
}
