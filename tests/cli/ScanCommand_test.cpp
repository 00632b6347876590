#include "CliProcess.h"
#include "DB.h"
#include "MediaFactory.h"
#include "SQLiteDatabase.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <random>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using namespace Qt::StringLiterals;

namespace {

// A data directory and a music folder of short FLAC files, driven through the real program.
class ScanCommandTest : public testing::Test {
protected:
    QString root() const { return media.path(u"Music"_s); }
    QString databaseFile() const { return QDir(data.path()).filePath(DB::fileName()); }

    void makeTrack(const QString& name, const QString& title) {
        ASSERT_FALSE(media.ffmpeg(u"Music/"_s + name, {u"-metadata"_s, u"title="_s + title}, 0.1, 8000, 1).isEmpty());
    }
    CliResult cli(const QStringList& args) { return runCli(QStringList{u"--data-dir="_s + data.path()} + args); }
    QStringList lines(const QStringList& args) {
        return QString::fromUtf8(cli(args).out).split(u'\n', Qt::SkipEmptyParts);
    }
    // The scan succeeded with one summary line, for the music folder with `files` files (the
    // library also reports the tracks it assigns).
    testing::AssertionResult summarises(const CliResult& result, int files) {
        const QStringList found =
            QString::fromUtf8(result.out).split(u'\n').filter(QRegularExpression(u"\t\\d+ files\t"_s));
        if (result.exitCode == 0 && found.size() == 1 && found[0].startsWith(root() + u"\t%1 files\t"_s.arg(files))) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "exit code " << result.exitCode << ", summaries "
                                           << found.join(u'|').toStdString() << ", errors " << result.err.constData();
    }
    // The time of the last scan in the folders command's line for the one library folder.
    QString lastScan() {
        const QStringList folders = lines({u"folders"_s});
        const bool one = folders.size() == 1 && folders[0].startsWith(u"1\t"_s + root() + u"\t"_s);
        return one ? folders[0].section(u'\t', 2) : u"?"_s;
    }
    QString integrity() {
        auto file = SQLiteDatabase::open(databaseFile());
        auto check = file ? file->executeQuery(u"PRAGMA integrity_check"_s) : std::nullopt;
        return check && check->next() ? check->stringForColumn(u"integrity_check"_s).value_or(u"?"_s) : u"unreadable"_s;
    }
    qint64 count(const QString& sql) {
        auto file = SQLiteDatabase::open(databaseFile());
        auto rows = file ? file->executeQuery(sql) : std::nullopt;
        return rows && rows->next() ? rows->int64ForIndex(0) : -1;
    }
    bool listedAsScanned() {
        return QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ$"_s).match(lastScan()).hasMatch();
    }

    MediaFactory media;
    QTemporaryDir data;
};

}  // namespace

TEST_F(ScanCommandTest, AddsThenRescansAFolderSoThatSearchAndFoldersFollowTheFiles) {
    makeTrack(u"a.flac"_s, u"Glacier Bay"_s);
    makeTrack(u"b.flac"_s, u"Glade"_s);
    makeTrack(u"c.flac"_s, u"Harbour Bay"_s);

    // Given with a trailing slash and a detour: stored absolute and clean.
    const CliResult added = cli({u"scan"_s, root() + u"/../Music/"_s});
    EXPECT_TRUE(summarises(added, 3));
    // Not a terminal: whole progress lines, no redrawing.
    EXPECT_TRUE(added.err.contains(root().toUtf8() + ": 0/3 files")) << added.err.constData();
    EXPECT_FALSE(added.err.contains('\r'));
    EXPECT_EQ(lines({u"search"_s, u"gla"_s}), QStringList({root() + u"/a.flac"_s, root() + u"/b.flac"_s}));
    // The words of a search are one query.
    EXPECT_EQ(lines({u"search"_s, u"BAY"_s, u"gla"_s}), QStringList{root() + u"/a.flac"_s});
    EXPECT_TRUE(listedAsScanned());

    // The same folder again is a rescan: the deleted file leaves the library.
    ASSERT_TRUE(QFile::remove(root() + u"/b.flac"_s));
    EXPECT_TRUE(summarises(cli({u"scan"_s, root()}), 2));
    EXPECT_EQ(lines({u"search"_s, u"gla"_s}), QStringList{root() + u"/a.flac"_s});
    EXPECT_TRUE(listedAsScanned());
}

TEST_F(ScanCommandTest, FolderThatCannotBeScannedFailsAndChangesNothing) {
    // No database yet: none is made.
    const CliResult missing = cli({u"scan"_s, media.path(u"nowhere"_s)});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.contains(media.path(u"nowhere"_s).toUtf8() + " does not exist")) << missing.err.constData();
    EXPECT_FALSE(QFile::exists(databaseFile()));

    makeTrack(u"a.flac"_s, u"Glacier"_s);
    ASSERT_EQ(cli({u"scan"_s, root()}).exitCode, 0);
    const auto before = MediaFactory::readAll(databaseFile());
    // One bad FOLDER stops the good ones too.
    const QString file = media.write(u"file.flac"_s, "not a folder");
    const CliResult mixed = cli({u"scan"_s, root(), file, media.path(u"nowhere"_s)});
    EXPECT_EQ(mixed.exitCode, 1);
    EXPECT_TRUE(mixed.err.contains(file.toUtf8() + " is not a folder")) << mixed.err.constData();
    EXPECT_TRUE(mixed.err.contains("nowhere does not exist"));
    EXPECT_TRUE(mixed.out.isEmpty());
    EXPECT_EQ(MediaFactory::readAll(databaseFile()), before);

    EXPECT_EQ(cli({u"scan"_s}).exitCode, 2);
    EXPECT_EQ(cli({u"scan"_s, u"--fast"_s, root()}).exitCode, 2);
}

TEST_F(ScanCommandTest, VanishedLibraryFolderIsKeptUnlessForced) {
    makeTrack(u"a.flac"_s, u"Glacier"_s);
    ASSERT_EQ(cli({u"scan"_s, root()}).exitCode, 0);
    ASSERT_TRUE(QDir().rename(root(), media.path(u"Unmounted"_s)));

    const CliResult refused = cli({u"scan"_s, root()});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains(root().toUtf8()) && refused.err.contains("--force")) << refused.err.constData();
    EXPECT_EQ(lines({u"search"_s, u"glacier"_s}), QStringList{root() + u"/a.flac"_s});

    EXPECT_TRUE(summarises(cli({u"scan"_s, u"--force"_s, root()}), 0));
    EXPECT_TRUE(lines({u"search"_s, u"glacier"_s}).isEmpty());
    EXPECT_TRUE(listedAsScanned());
}

TEST_F(ScanCommandTest, KilledAtAnyMomentOfAScanLeavesASoundDatabaseThatTheNextScanCompletes) {
    makeTrack(u"seed.flac"_s, u"Seed"_s);
    constexpr int kCopies = 1500;
    const auto seed = MediaFactory::readAll(root() + u"/seed.flac"_s);
    ASSERT_TRUE(seed);
    for (int i = 0; i < kCopies; ++i) ASSERT_FALSE(media.write(u"Music/t%1.flac"_s.arg(i), *seed).isEmpty());
    std::mt19937 random(unsigned(testing::UnitTest::GetInstance()->random_seed()));
    const auto soundAfterKill = [&](std::chrono::milliseconds longest) -> testing::AssertionResult {
        QProcess scan;
        scan.start(QStringLiteral(SONVALE_CLI), {u"--data-dir"_s, data.path(), u"scan"_s, root()});
        if (!scan.waitForStarted(10000)) return testing::AssertionFailure() << "not started";
        const int delay = std::uniform_int_distribution<int>(0, int(longest.count()))(random);
        if (!scan.waitForFinished(delay)) {
            scan.kill();
            scan.waitForFinished(10000);
        }
        const QString check = integrity();
        if (check == u"ok"_s) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "killed after " << delay << " ms: " << check.toStdString();
    };

    // First scans, each from no database at all, killed anywhere in their course; a whole one
    // measures that course.
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(summarises(cli({u"scan"_s, root()}), kCopies + 1));
    const std::chrono::milliseconds first(timer.elapsed() * 3 / 2);
    for (int kill = 0; kill < 12; ++kill) {
        for (const QString& file : QDir(data.path()).entryList(QDir::Files)) {
            ASSERT_TRUE(QDir(data.path()).remove(file));
        }
        EXPECT_TRUE(soundAfterKill(first)) << kill;
    }
    EXPECT_TRUE(summarises(cli({u"scan"_s, root()}), kCopies + 1));

    // Rescans: the records committed by the whole scan stay whatever moment a rescan dies at.
    timer.restart();
    ASSERT_TRUE(summarises(cli({u"scan"_s, root()}), kCopies + 1));
    const std::chrono::milliseconds rescan(timer.elapsed() * 3 / 2);
    for (int kill = 0; kill < 12; ++kill) {
        EXPECT_TRUE(soundAfterKill(rescan)) << kill;
        EXPECT_EQ(count(u"SELECT COUNT(*) FROM tracks"_s), kCopies + 1) << kill;
        EXPECT_EQ(count(u"SELECT COUNT(*) FROM folders"_s), 1) << kill;
    }

    EXPECT_TRUE(summarises(cli({u"scan"_s, root()}), kCopies + 1));
    EXPECT_TRUE(listedAsScanned());
    EXPECT_EQ(lines({u"search"_s, u"seed"_s}).size(), kCopies + 1);
}

TEST_F(ScanCommandTest, DamagedDatabaseIsReportedSetAsideAndItsFolderScannedBack) {
    makeTrack(u"a.flac"_s, u"Glacier"_s);
    makeTrack(u"b.flac"_s, u"Harbour"_s);
    ASSERT_TRUE(summarises(cli({u"scan"_s, root()}), 2));
    {
        // Noise over the search tokens' occurrences, which the check at opening does not read.
        auto file = SQLiteDatabase::open(databaseFile());
        ASSERT_TRUE(file);
        auto page = file->executeQuery(u"SELECT pageno FROM dbstat WHERE name = 'occurences'"_s);
        ASSERT_TRUE(page && page->next());
        const qint64 number = page->int64ForIndex(0);
        page.reset();
        file.reset();
        QFile db(databaseFile());
        ASSERT_TRUE(db.open(QIODevice::ReadWrite) && db.seek((number - 1) * 4096));
        ASSERT_EQ(db.write(QByteArray(4096, '\x5a')), 4096);
    }

    const CliResult search = cli({u"search"_s, u"glacier"_s});
    EXPECT_EQ(search.exitCode, 3);
    EXPECT_TRUE(search.err.contains("is damaged")) << search.err.constData();
    EXPECT_FALSE(search.err.contains("DB Error: 11")) << search.err.constData();

    // The next command sets the file aside and carries the folder over, to be scanned again.
    const CliResult folders = cli({u"folders"_s});
    EXPECT_EQ(folders.exitCode, 3);
    EXPECT_TRUE(folders.err.contains(".damaged-")) << folders.err.constData();
    EXPECT_TRUE(folders.err.contains("sonvale-cli scan '" + root().toUtf8())) << folders.err.constData();
    EXPECT_EQ(QString::fromUtf8(folders.out), u"1\t"_s + root() + u"\tnever\n"_s);
    EXPECT_EQ(QDir(data.path()).entryList({u"*.damaged-*"_s}, QDir::Files).size(), 1);

    EXPECT_TRUE(summarises(cli({u"scan"_s, root()}), 2));
    EXPECT_EQ(lines({u"search"_s, u"glacier"_s}), QStringList{root() + u"/a.flac"_s});
    EXPECT_TRUE(listedAsScanned());
}
