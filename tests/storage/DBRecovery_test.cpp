#include "MediaFactory.h"
#include "StorageTestSupport.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <functional>
#include <random>

using sonvale::DB;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

constexpr int kEntries = 1500;
const QStringList kRoots = {u"/music/a/"_s, u"/music/b/"_s};

// Two scanned library folders and a saved playlist of kEntries tracks; the playlist's paths.
QStringList makeLibrary(const QString& dir) {
    DB db(dir);
    for (const QString& root : kRoots) {
        sonvale::Folder folder{std::nullopt, root, QDateTime::currentDateTimeUtc()};
        EXPECT_TRUE(db.addFolder(folder));
    }
    QStringList paths;
    for (int i = 0; i < kEntries; ++i) {
        paths.append(u"/music/a/%1 a name long enough to fill pages.flac"_s.arg(qlonglong(i), 4, 10, QChar(u'0')));
    }
    QList<TrackRef> tracks = db.findOrInsertTracks(paths);
    for (const TrackRef& track : tracks) {
        track->title = u"Title of "_s + QFileInfo(track->path).baseName();
        track->status = sonvale::TrackStatus::scanned;
        db.updateTrack(*track);
    }
    EXPECT_TRUE(db.savePlaylist(tracks));
    return paths;
}

QList<qint64> leafPages(const QString& path, const QString& table) {
    QList<qint64> pages;
    const QString sql = u"SELECT pageno AS v FROM dbstat WHERE name = '%1' AND pagetype = 'leaf' ORDER BY pageno"_s;
    for (const QString& page : query(path, sql.arg(table))) {
        pages.append(page.toLongLong());
    }
    return pages;
}

// Fills page `page` (counted from 1) with noise.
void overwritePage(const QString& path, qint64 page) {
    const qint64 pageSize = query(path, u"SELECT page_size AS v FROM pragma_page_size"_s).value(0).toLongLong();
    QByteArray noise(int(pageSize), '\0');
    std::mt19937 random(page);
    std::generate(noise.begin(), noise.end(), [&] { return char(random()); });
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek((page - 1) * pageSize) && file.write(noise) == pageSize);
}

QStringList roots(const QList<sonvale::Folder>& folders) {
    QStringList roots;
    for (const sonvale::Folder& folder : folders) {
        EXPECT_FALSE(folder.lastCompletedScan) << "carried over as scanned: " << folder.root.toStdString();
        roots.append(folder.root);
    }
    return roots;
}

}  // namespace

TEST(DBRecovery, DamagedFileIsKeptAsideAndWhatCanBeReadGoesIntoANewOne) {
    struct Case {
        const char* name;
        std::function<void(const QString& path)> damage;
        QStringList foldersKept;
        QString problem;
        qsizetype entriesKept;  // at least
    };
    const QList<Case> cases = {
        {"not a database",
         [](const QString& path) {
             QFile file(path);
             ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
             file.write(QByteArray("not a database, just some text ").repeated(512));
         },
         {}, u"the file is not a database"_s, 0},
            // The folders were written first, near the start of the file; the playlist last.
        {"cut short", [](const QString& path) { ASSERT_TRUE(QFile::resize(path, QFileInfo(path).size() / 2)); }, kRoots,
         u"the file is cut short"_s, 0},
        {"a playlist page overwritten",
         [](const QString& path) {
             const QList<qint64> pages = leafPages(path, u"playlist"_s);
             ASSERT_GE(pages.size(), 3);
             overwritePage(path, pages[pages.size() / 2]);
         },
         kRoots, u"btreeInitPage"_s, kEntries / 2},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        QTemporaryDir dir;
        const QStringList paths = makeLibrary(dir.path());
        const QString path = dbPathIn(dir.path());
        test.damage(path);
        const auto damaged = MediaFactory::readAll(path);

        LogCapture log;
        DB db(dir.path());
        ASSERT_TRUE(db.recovery());
        const sonvale::DatabaseRecovery& recovery = *db.recovery();
        EXPECT_TRUE(recovery.problem.contains(test.problem)) << recovery.problem.toStdString();
        EXPECT_TRUE(QFileInfo(recovery.damagedCopy).fileName().startsWith(DB::fileName() + u".damaged-20"_s));
        EXPECT_EQ(MediaFactory::readAll(recovery.damagedCopy), damaged);
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), 2);
        EXPECT_EQ(column(db, u"SELECT quick_check AS v FROM pragma_quick_check"_s), QStringList{u"ok"_s});
        EXPECT_EQ(roots(db.loadFolders()), test.foldersKept);
        EXPECT_EQ(roots(recovery.folders), test.foldersKept);

        // Every entry carried over is the one that stood at its old position, in the old order;
        // the current item follows its entry or goes with it.
        const QList<TrackRef> playlist = db.loadPlaylist();
        ASSERT_EQ(playlist.size(), recovery.playlistOrigins.size());
        EXPECT_TRUE(std::is_sorted(recovery.playlistOrigins.cbegin(), recovery.playlistOrigins.cend()));
        for (qsizetype i = 0; i < playlist.size(); ++i) {
            ASSERT_EQ(playlist[i]->path, paths.value(recovery.playlistOrigins[i]));
            EXPECT_EQ(playlist[i]->title, u"Title of "_s + QFileInfo(playlist[i]->path).baseName());
            EXPECT_EQ(recovery.positionOf(recovery.playlistOrigins[i]), i);
        }
        EXPECT_LE(playlist.size() + recovery.playlistLost, kEntries);
        EXPECT_GE(playlist.size(), test.entriesKept);
        for (qint64 position = 0; position < kEntries; ++position) {
            if (recovery.playlistOrigins.contains(position)) continue;
            EXPECT_FALSE(recovery.positionOf(position)) << position;
            break;
        }
        EXPECT_EQ(log.lines(QtCriticalMsg).filter(u"is kept as"_s).size(), 1) << log.lines().join(u'\n').toStdString();
    }
}

TEST(DBRecovery, DamageMetWhileRunningIsLoggedOnceAndRecoveredAtTheNextOpening) {
    QTemporaryDir dir;
    makeLibrary(dir.path());
    const QString path = dbPathIn(dir.path());
    // Not a page that the check at opening reads: the damage shows when the tracks are read.
    const QList<qint64> pages = leafPages(path, u"tracks"_s);
    ASSERT_GE(pages.size(), 3);
    overwritePage(path, pages[pages.size() / 2]);
    {
        LogCapture log;
        DB db(dir.path());
        EXPECT_FALSE(db.recovery());
        EXPECT_FALSE(db.isDamaged());
        db.search(u"title"_s);
        db.search(u"name"_s);
        EXPECT_TRUE(db.isDamaged());
        EXPECT_EQ(log.lines().filter(u"is damaged"_s).size(), 1) << log.lines().join(u'\n').toStdString();
        EXPECT_TRUE(log.lines().filter(u"DB Error: 11"_s).isEmpty());
    }
    DB db(dir.path());
    ASSERT_TRUE(db.recovery());
    EXPECT_FALSE(db.isDamaged());
    EXPECT_EQ(roots(db.loadFolders()), kRoots);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), 2);
}
