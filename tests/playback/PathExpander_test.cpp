#include "PathExpander.h"

#include "LogCapture.h"
#include "M3U.h"
#include "MediaFactory.h"

#include <QFile>

#include <gtest/gtest.h>

#include <functional>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

using sonvale::M3U;
using sonvale::PathExpander;
using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

// Writes each of `names` (folders made as needed) with a little content.
void touch(MediaFactory& media, const QStringList& names) {
    for (const QString& name : names) ASSERT_FALSE(media.write(name, "x").isEmpty()) << name.toStdString();
}

}  // namespace

TEST(PathExpander, FoldersExpandInNaturalOrderToAnyDepthWithoutHiddenEntries) {
    MediaFactory media;
    touch(media, {u"d/track 10.mp3"_s, u"d/Track 2.mp3"_s, u"d/b/c/deep.flac"_s, u"d/a.txt"_s, u"d/.hidden.mp3"_s,
                  u"d/.git/x.mp3"_s, u"one.flac"_s});
    LogCapture log;
    const QString root = media.dir();
    EXPECT_EQ(PathExpander::expand({u"  "_s + root + u"/d\t"_s, u""_s, u"   "_s, root + u"/gone.mp3"_s,
                                    root + u"/d/../one.flac"_s}),
              QStringList({root + u"/d/a.txt"_s, root + u"/d/b/c/deep.flac"_s, root + u"/d/Track 2.mp3"_s,
                           root + u"/d/track 10.mp3"_s, root + u"/one.flac"_s}));
    EXPECT_EQ(LogCapture::count(u"Skipping "_s + root + u"/gone.mp3: no such file"_s), 1);

    EXPECT_EQ(PathExpander::expand({u"one.flac"_s, u"d/b"_s, root + u"/one.flac"_s}, root),
              QStringList({root + u"/one.flac"_s, root + u"/d/b/c/deep.flac"_s, root + u"/one.flac"_s}));
}

TEST(PathExpander, PlaylistEntriesResolveAgainstThePlaylistFolder) {
    MediaFactory media;
    touch(media, {u"music/a.flac"_s, u"lists/b.mp3"_s, u"lists/sub/c.mp3"_s, u"other.mp3"_s});
    const QString root = media.dir();
    media.write(u"lists/inner.m3u"_s, "sub\\c.mp3\n");
    media.write(u"lists/Mix.M3U"_s, ("#EXTM3U\r\n#EXTINF:10,A - B\r\n..\\music\\a.flac\r\n    \r\n#PLAYLIST:Mix\r\n"
                                     "b.mp3\r\n" + root + "/other.mp3\r\ninner.m3u\r\nsub\r\n").toUtf8());
    LogCapture log;
    EXPECT_EQ(PathExpander::expand({root + u"/lists/Mix.M3U"_s}),
              QStringList({root + u"/music/a.flac"_s, root + u"/lists/b.mp3"_s, root + u"/other.mp3"_s,
                           root + u"/lists/sub/c.mp3"_s, root + u"/lists/sub/c.mp3"_s}));
    EXPECT_EQ(LogCapture::count(u"Skipping "_s + root + u"/lists/#PLAYLIST:Mix"_s), 1);
}

TEST(PathExpander, FolderAndPlaylistCyclesAreExpandedOnce) {
    MediaFactory media;
    touch(media, {u"d/a.mp3"_s, u"d/sub/b.mp3"_s, u"c.mp3"_s});
    const QString root = media.dir();
    ASSERT_TRUE(QFile::link(root + u"/d"_s, root + u"/d/sub/loop"_s));
    media.write(u"self.m3u"_s, "c.mp3\nself.m3u\n./self.m3u\n");
    media.write(u"x.m3u"_s, "y.m3u\nc.mp3\n");
    media.write(u"y.m3u"_s, "x.m3u\nd/a.mp3\n");

    LogCapture log;
    EXPECT_EQ(PathExpander::expand({root + u"/d"_s}), QStringList({root + u"/d/a.mp3"_s, root + u"/d/sub/b.mp3"_s}));
    EXPECT_EQ(LogCapture::count(u"Skipping "_s + root + u"/d/sub/loop: it includes itself"_s), 1);
    EXPECT_EQ(PathExpander::expand({root + u"/self.m3u"_s}), QStringList({root + u"/c.mp3"_s}));
    EXPECT_EQ(LogCapture::count(u"/self.m3u: it includes itself"_s), 2);
    EXPECT_EQ(PathExpander::expand({root + u"/x.m3u"_s, root + u"/x.m3u"_s}),
              QStringList({root + u"/d/a.mp3"_s, root + u"/c.mp3"_s, root + u"/d/a.mp3"_s, root + u"/c.mp3"_s}));
}

// Runs `check` with the permissions of an ordinary user. Root reads everything, so as root the
// check runs in a child process that gives root up for good; the result is the check's.
bool asOrdinaryUser(const std::function<bool()>& check) {
    if (::geteuid() != 0) return check();
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        const bool passed = ::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0 && check();
        ::_exit(passed ? 0 : 1);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(PathExpander, UnreadableFolderOrPlaylistContributesNothing) {
    MediaFactory media;
    touch(media, {u"locked/a.mp3"_s, u"c.mp3"_s});
    const QString root = media.dir();
    media.write(u"locked.m3u"_s, "c.mp3\n");
    const auto open = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
    ASSERT_TRUE(QFile::setPermissions(root, open));
    ASSERT_TRUE(QFile::setPermissions(root + u"/locked"_s, {}));
    ASSERT_TRUE(QFile::setPermissions(root + u"/locked.m3u"_s, {}));
    EXPECT_TRUE(asOrdinaryUser([&] {
        LogCapture log;
        return PathExpander::expand({root + u"/locked"_s, root + u"/locked.m3u"_s}).isEmpty() &&
               LogCapture::count(u"Cannot read folder"_s) == 1 && LogCapture::count(u"Cannot read playlist"_s) == 1;
    }));
    QFile::setPermissions(root + u"/locked"_s, open);
}

TEST(PathExpander, WrittenPlaylistReadsBackToTheSameFiles) {
    MediaFactory media;
    touch(media, {u"music/Ann/01 Song.flac"_s, u"music/#2 hash.mp3"_s, u"lists/near.mp3"_s, u"music/\u00E9t\u00E9.m4a"_s});
    const QString root = media.dir();
    QList<TrackRef> tracks;
    QStringList paths;
    for (const QString& name : {u"music/Ann/01 Song.flac"_s, u"music/#2 hash.mp3"_s, u"lists/near.mp3"_s,
                                u"music/\u00E9t\u00E9.m4a"_s, u"lists/near.mp3"_s}) {
        paths.append(root + u'/' + name);
        tracks.append(std::make_shared<Track>(paths.last()));
        tracks.last()->title = name;
    }
    for (bool absolute : {true, false}) {
        const QString playlist = root + u"/lists/out.m3u"_s;
        ASSERT_TRUE(M3U::write(tracks, playlist, absolute));
        EXPECT_EQ(PathExpander::expand({playlist}), paths) << "absolute " << absolute;
    }
}
