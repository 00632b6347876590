#include "AudioFiles.h"

#include "MediaFactory.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>

using sonvale::collectAudioFiles;
using sonvale::supportedExtensions;
using namespace Qt::StringLiterals;

namespace {

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
    EXPECT_EQ(sorted(collectAudioFiles(root, supportedExtensions())),
              QStringList({root + u"/a.mp3"_s, root + u"/sub/b.flac"_s, root + u"/sub/deeper/c.m3u"_s,
                           root + u"/sub/list.tar.m4a"_s}));
    EXPECT_EQ(collectAudioFiles(root, {u"txt"_s}), QStringList({root + u"/notes.txt"_s}));
    EXPECT_TRUE(collectAudioFiles(root + u"/missing"_s, supportedExtensions()).isEmpty());
    EXPECT_TRUE(collectAudioFiles(root + u"/a.mp3"_s, supportedExtensions()).isEmpty());
}
