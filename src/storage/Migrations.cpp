#include "Migrations.h"

#include <QDir>
#include <QFile>

#include <array>

namespace sonvale {

namespace {

enum class Action {
    statement,
    // The statement may fail: the change it makes can already be in place.
    statementMayFail,
    // A retired step, kept so that the numbering stays.
    nothing,
    // The old log file in the data directory is no longer written.
    removeLogFile,
};

struct Step {
    Action action;
    const char* sql;
};

// Step N is kSteps[N - 1].
constexpr std::array<Step, Migrations::kCurrentVersion> kSteps = {{
    {Action::statement,
     "CREATE TABLE \"history\" (\n\"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n\"track\" integer,\n"
     "\"title\" varchar(255),\n\"artist\" varchar(255),\n\"album\" varchar(255),\n"
     "\"duration\" integer NOT NULL,\n\"timestamp\" integer NOT NULL\n);"},
    {Action::statement, "CREATE INDEX ix_history_timestamp ON \"history\" (\"timestamp\");"},
    {Action::statement,
     "CREATE TABLE \"metadata\" (\n\"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n"
     "\"path\" varchar(1500) NOT NULL,\n\"size\" integer NOT NULL,\n\"timestamp\" integer NOT NULL,\n"
     "\"track\" integer,\n\"title\" varchar(255),\n\"artist\" varchar(255),\n\"album\" varchar(255),\n"
     "\"duration\" integer NOT NULL,\n\"rate\" integer NOT NULL\n);"},
    {Action::statement, "CREATE UNIQUE INDEX ix_metadata_path ON \"metadata\" (\"path\" ASC);"},
    {Action::statement,
     "CREATE TABLE \"playlist\" (\n\"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n"
     "\"metadata_id\" integer NOT NULL,\n\"order\" integer NOT NULL,\n"
     "FOREIGN KEY (metadata_id) REFERENCES \"metadata\" (id)\n);"},
    {Action::statement, "CREATE UNIQUE INDEX ix_playlist_order ON \"playlist\" (\"order\" ASC);"},
    {Action::statement, "ALTER TABLE history ADD COLUMN 'path' VARCHAR(1500);"},
    {Action::nothing, nullptr},
    {Action::statement, "ALTER TABLE metadata RENAME COLUMN 'rate' to 'bitRate';"},
    {Action::statement, "ALTER TABLE metadata ADD COLUMN 'sampleRate' integer NOT NULL DEFAULT 0;"},
    {Action::statement, "ALTER TABLE metadata ADD COLUMN 'channels' integer NOT NULL DEFAULT 0;"},
    {Action::statement, "ALTER TABLE metadata ADD COLUMN 'status' integer NOT NULL DEFAULT 0;"},
    {Action::statement, "DROP TABLE history;"},
    {Action::statement, "ALTER TABLE metadata RENAME TO tracks;"},
    {Action::statement,
     "CREATE TABLE \"playlistNew\" (\n\"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n"
     "\"track_id\" integer NOT NULL,\n\"order\" integer NOT NULL,\nCONSTRAINT fk_tracks\n"
     "FOREIGN KEY (track_id) REFERENCES \"tracks\" (id)\n);"},
    {Action::statement, "INSERT INTO \"playlistNew\" SELECT * FROM \"playlist\";"},
    {Action::statement, "DROP TABLE playlist;"},
    {Action::statement, "ALTER TABLE playlistNew RENAME TO playlist;"},
    {Action::statement,
     "CREATE TABLE \"folders\" (\n  \"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n"
     "  \"path\" varchar(1024) NOT NULL\n);"},
    {Action::statement,
     "CREATE TABLE \"tokens\" (\n\"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n"
     "\"token\" varchar(1024) NOT NULL\n);"},
    {Action::statement,
     "CREATE TABLE \"occurences\" (\n  \"token_id\" integer NOT NULL,\n  \"track_id\" integer NOT NULL,\n"
     "  FOREIGN KEY (token_id) REFERENCES \"tokens\" (id) ON DELETE CASCADE,\n"
     "  FOREIGN KEY (track_id) REFERENCES \"tracks\" (id) ON DELETE CASCADE\n);"},
    {Action::statement, "CREATE UNIQUE INDEX ix_track_path ON \"tracks\" (\"path\" ASC);"},
    {Action::statement, "CREATE UNIQUE INDEX ix_tokens_token ON \"tokens\" (\"token\");"},
    {Action::statement, "CREATE INDEX ix_occurences_token ON \"occurences\" (\"token_id\");"},
    {Action::statement, "CREATE INDEX ix_occurences_track ON \"occurences\" (\"track_id\");"},
    {Action::statement, "CREATE INDEX ix_playlist_track ON \"playlist\" (\"track_id\" ASC);"},
    {Action::statement, "DROP INDEX ix_metadata_path;"},
    // The index of step 6 went with the old playlist table at step 17.
    {Action::statement, "CREATE UNIQUE INDEX ix_playlist_order ON \"playlist\" (\"order\" ASC);"},
    {Action::statement, "ALTER TABLE tracks ADD COLUMN 'folder' integer;"},
    {Action::statement, "ALTER TABLE folders ADD COLUMN 'lastCompletedScan' integer;"},
    // Files that went through step 9 already have bitRate; for them this fails harmlessly.
    {Action::statementMayFail, "ALTER TABLE tracks RENAME COLUMN 'rate' to 'bitRate';"},
    {Action::removeLogFile, nullptr},
    {Action::statement, "ALTER TABLE \"tracks\" ADD COLUMN \"metaVersion\" integer NOT NULL DEFAULT 0;"},
    {Action::statement,
     "CREATE TABLE \"lyrics\" (\n\"track_id\" integer PRIMARY KEY NOT NULL,\n\"text\" text NOT NULL,\n"
     "FOREIGN KEY (track_id) REFERENCES \"tracks\" (id)\n);"},
    {Action::statement,
     "CREATE TABLE \"chapters\" (\n\"id\" integer PRIMARY KEY AUTOINCREMENT NOT NULL,\n"
     "\"track_id\" integer NOT NULL,\n\"index\" integer NOT NULL,\n\"start\" real NOT NULL,\n"
     "\"end\" real NOT NULL,\n\"title\" varchar(255),\nFOREIGN KEY (track_id) REFERENCES \"tracks\" (id)\n);"},
    {Action::statement, "CREATE INDEX ix_chapters_track ON \"chapters\" (\"track_id\", \"index\" ASC);"},
}};

}  // namespace

bool Migrations::runStep(int version, const Executor& execute, const QString& dataDirectory) {
    if (version < 1 || version > kCurrentVersion) return false;
    const Step& step = kSteps[std::size_t(version - 1)];
    switch (step.action) {
    case Action::statement:
        return execute(QString::fromUtf8(step.sql));
    case Action::statementMayFail:
        execute(QString::fromUtf8(step.sql));
        return true;
    case Action::nothing:
        return true;
    case Action::removeLogFile:
        QFile::remove(QDir(dataDirectory).filePath(QStringLiteral("Log.txt")));
        return true;
    }
    return false;
}

}  // namespace sonvale
