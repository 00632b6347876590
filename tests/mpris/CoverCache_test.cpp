#include "CoverCache.h"

#include "MediaFactory.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace sonvale;

namespace {

QByteArray bytes(char fill, int size) { return QByteArray(size, fill); }

// Dates the file's last store `seconds` ago, so that the order does not hang on the clock's grain.
void age(const QString& path, int seconds) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-seconds), QFileDevice::FileModificationTime));
}

QStringList names(const QString& folder) { return QDir(folder).entryList(QDir::Files, QDir::Name); }

// The file names of `paths` in the order names() lists them.
QStringList namesOf(QStringList paths) {
    for (QString& path : paths) path = QFileInfo(path).fileName();
    paths.sort();
    return paths;
}

TEST(CoverCache, StoresEachPictureOnceUnderTheHashOfItsBytes) {
    QTemporaryDir root;
    const QString folder = root.filePath("cache/Sonvale/covers");
    CoverCache cache(folder);
    const QByteArray jpeg = "\xff\xd8\xff\xe0 a picture";
    const QByteArray png = QByteArray("\x89PNG\r\n\x1a\n", 8) + "more";
    const QString stored = cache.store(jpeg);
    EXPECT_EQ(stored, folder + "/" + QCryptographicHash::hash(jpeg, QCryptographicHash::Sha1).toHex() + ".jpg");
    EXPECT_EQ(MediaFactory::readAll(stored), jpeg);
    age(stored, 100);
    EXPECT_EQ(cache.store(jpeg), stored);
    EXPECT_GT(QFileInfo(stored).lastModified(), QDateTime::currentDateTime().addSecs(-50));  // stored again now
    EXPECT_TRUE(cache.store(png).endsWith(".png"));
    EXPECT_EQ(names(folder).size(), 2);
}

TEST(CoverCache, RemovesTheLeastRecentlyStoredPastEitherLimit) {
    QTemporaryDir root;
    CoverCache cache(root.path(), 3, 1000);
    const QString a = cache.store(bytes('a', 100));
    const QString b = cache.store(bytes('b', 100));
    const QString c = cache.store(bytes('c', 100));
    age(a, 300);
    age(b, 200);
    age(c, 100);
    EXPECT_EQ(cache.store(bytes('a', 100)), a);  // a is recent again
    age(a, 50);
    const QString d = cache.store(bytes('d', 100));
    EXPECT_EQ(names(root.path()), namesOf({a, c, d})) << "b is the oldest";
    age(d, 40);

    const QString e = cache.store(bytes('e', 900));
    EXPECT_EQ(names(root.path()), namesOf({d, e}));
    // A picture over the byte limit by itself is still kept, alone.
    const QString f = cache.store(bytes('f', 2000));
    EXPECT_EQ(names(root.path()), namesOf({f}));
}

TEST(CoverCache, FolderThatCannotBeMadeGivesNoPath) {
    MediaFactory media;
    const QString file = media.write("occupied", "a file, not a folder");
    EXPECT_TRUE(CoverCache(file + "/covers").store("picture").isEmpty());
}

}  // namespace
