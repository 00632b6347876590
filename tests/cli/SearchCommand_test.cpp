#include "CliProcess.h"
#include "DB.h"
#include "Index.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using namespace Qt::StringLiterals;

TEST(SearchCommand, MakesTheDatabaseInTheDataDirectoryOrSaysWhyNot) {
    // Without --data-dir: the default data directory under the test's XDG_DATA_HOME.
    const CliResult created = runCli({u"search"_s, u"x"_s});
    EXPECT_EQ(created.exitCode, 0);
    EXPECT_TRUE(created.out.isEmpty());
    EXPECT_TRUE(QFile::exists(QDir(DB::defaultDataDirectory()).filePath(DB::fileName())));

    // A directory where the database file should be cannot be opened.
    QTemporaryDir dir;
    const QString blocked = dir.filePath(u"blocked"_s);
    ASSERT_TRUE(QDir().mkpath(QDir(blocked).filePath(DB::fileName())));
    const CliResult failed = runCli({u"--data-dir"_s, blocked, u"search"_s, u"x"_s});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.out.isEmpty());
    EXPECT_TRUE(failed.err.contains("sonvale-cli search: cannot open the database")) << failed.err.constData();

    EXPECT_EQ(runCli({u"--data-dir"_s, dir.path(), u"search"_s}).exitCode, 2);
}

// `search -` answers each line as it comes: the next query is written only after the answer
// to the previous one arrived, which needs the answer flushed.
TEST(SearchCommand, AnswersQueriesFromStandardInputOneAtATime) {
    QTemporaryDir dir;
    {
        DB db(dir.path());
        sonvale::Folder folder{std::nullopt, u"/Music/"_s, std::nullopt};
        ASSERT_TRUE(db.addFolder(folder));
        sonvale::Index index;
        for (const QString& path : {u"/Music/Blue Moon.flac"_s, u"/Music/Blue Sky.mp3"_s, u"/Music/Déjà vu.m4a"_s}) {
            sonvale::TrackRef track = db.insertTrack(path);
            ASSERT_TRUE(track);
            track->folder = *folder.pk;
            db.updateTrack(*track);
            index.add(track);
        }
        db.saveIndex(index);
    }
    QProcess process;
    process.start(QStringLiteral(SONVALE_CLI), {u"--data-dir"_s, dir.path(), u"search"_s, u"-"_s});
    ASSERT_TRUE(process.waitForStarted());
    const auto ask = [&](const QByteArray& query) {
        process.write(query + '\n');
        QByteArray answer;
        while (!answer.endsWith("\n\n") && answer != "\n" && process.waitForReadyRead(30000)) answer += process.readAll();
        return answer;
    };
    EXPECT_EQ(ask("blu"), "/Music/Blue Moon.flac\n/Music/Blue Sky.mp3\n\n");
    EXPECT_EQ(ask("DEJA"), "/Music/Déjà vu.m4a\n\n");
    EXPECT_EQ(ask("nothing"), "\n");
    EXPECT_EQ(ask("sky blue"), "/Music/Blue Sky.mp3\n\n");
    process.closeWriteChannel();
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitCode(), 0);
}
