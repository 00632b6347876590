#include "AudioFiles.h"

#include "MediaFactory.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>

using sonvale::collectAudioFiles;
using sonvale::supportedExtensions;
using namespace Qt::StringLiterals;

namespace {

QStringList paths(const QList<sonvale::FoundFile>& files) {
    QStringList list;
    for (const sonvale::FoundFile& file : files) list.append(file.path);
    return list;
}
QStringList sorted(QStringList list) {
    std::sort(list.begin(), list.end());
    return list;
}

}  // namespace

TEST(AudioFiles, WalkTakesRegularFilesWithAnExactExtensionOutsideHiddenEntries) {
    MediaFactory media;
    ASSERT_TRUE(QDir(media.dir()).mkpath(u"sub/deeper"_s) && QDir(media.dir()).mkpath(u".hidden"_s));
    for (const QString& name : {u"a.mp3"_s, u"sub/b.flac"_s, u"sub/deeper/c.m3u"_s, u"sub/list.tar.m4a"_s,
                                u"Song.MP3"_s, u"d.Flac"_s, u"notes.txt"_s, u"mp3"_s, u"e.mp3.bak"_s,
                                u".f.mp3"_s, u".hidden/g.mp3"_s}) {
        ASSERT_FALSE(media.write(name, "x").isEmpty()) << name.toStdString();
    }
    ASSERT_TRUE(QDir(media.dir()).mkdir(u"h.flac"_s));
    ASSERT_TRUE(QFile::link(media.path(u"a.mp3"_s), media.path(u"link.mp3"_s)));
    ASSERT_TRUE(QFile::link(media.path(u"sub"_s), media.path(u"linked"_s)));

    const QString root = media.dir();
    EXPECT_EQ(sorted(paths(collectAudioFiles(root, supportedExtensions()))),
              QStringList({root + u"/a.mp3"_s, root + u"/sub/b.flac"_s, root + u"/sub/deeper/c.m3u"_s,
                           root + u"/sub/list.tar.m4a"_s}));
    EXPECT_EQ(paths(collectAudioFiles(root, {u"txt"_s})), QStringList({root + u"/notes.txt"_s}));
    EXPECT_TRUE(collectAudioFiles(root + u"/missing"_s, supportedExtensions()).isEmpty());
    EXPECT_TRUE(collectAudioFiles(root + u"/a.mp3"_s, supportedExtensions()).isEmpty());
}

// The files come in the order of Qt's directory iterator (a folder's contents where it is
// listed), which decides the order of the records a first scan makes, each with the size and
// modification time that a status read of its own gives.
TEST(AudioFiles, WalkKeepsTheIteratorsOrderAndReadsEachFilesStatus) {
    MediaFactory media;
    QStringList names = {u"z.mp3"_s, u"b/x.flac"_s, u"b/c/y.flac"_s, u"a.mp3"_s, u"b/w.m4a"_s,
                         u"d/e/f/v.wav"_s, u"d/u.aiff"_s, u"d/cover.jpg"_s, u"té.mp3"_s};
    // Folders listed on several threads at once still come out in order.
    for (int i = 0; i < 300; ++i) names.append(u"wide/%1/%2/t%3.mp3"_s.arg(i % 17).arg(i % 5).arg(i));
    for (const QString& name : names) {
        ASSERT_TRUE(QDir(media.dir()).mkpath(QFileInfo(name).path()));
        ASSERT_FALSE(media.write(name, QByteArray(name.size(), 'x')).isEmpty()) << name.toStdString();
    }
    QStringList expected;
    QDirIterator entries(media.dir(), QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (supportedExtensions().contains(QFileInfo(path).suffix())) expected.append(path);
    }
    const QList<sonvale::FoundFile> found = collectAudioFiles(media.dir() + u"/"_s, supportedExtensions());
    EXPECT_EQ(paths(found), expected);
    for (const sonvale::FoundFile& file : found) {
        const auto values = sonvale::fileResourceValues(file.path);
        ASSERT_TRUE(values);
        EXPECT_EQ(file.size, values->size);
        EXPECT_EQ(file.modified, values->modified);
    }
}
