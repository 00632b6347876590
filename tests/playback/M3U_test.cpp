#include "M3U.h"

#include "LogCapture.h"
#include "MediaFactory.h"

#include <QFile>

#include <gtest/gtest.h>

using sonvale::M3U;
using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

TEST(M3U, ParseKeepsEveryLineButTheExtendedHeaders) {
    const QString text = u"#EXTM3U\r\n#EXTINF:123,Artist - Title\r\n..\\music\\a.flac\r\n\r\n"
                         u"   \t \n#PLAYLIST:Mix\n#EXTGRP:x\n\t/abs/b.mp3  \u2028c.mp3\rd.mp3"_s;
    EXPECT_EQ(M3U::parse(text), QStringList({u"../music/a.flac"_s, u""_s, u"#PLAYLIST:Mix"_s, u"#EXTGRP:x"_s,
                                             u"/abs/b.mp3"_s, u"c.mp3"_s, u"d.mp3"_s}));
    EXPECT_TRUE(M3U::parse(u"\n\r\n"_s).isEmpty());
}

TEST(M3U, ReadDecodesUtf8OrLatin1AndRefusesWhatIsNotText) {
    MediaFactory media;
    LogCapture log;
    EXPECT_EQ(M3U::read(media.write(u"u.m3u"_s, "\xEF\xBB\xBFs\xC3\xA9.mp3\n")), QStringList({u"s\u00E9.mp3"_s}));
    EXPECT_EQ(M3U::read(media.write(u"l.m3u"_s, "s\xE9.mp3\n")), QStringList({u"s\u00E9.mp3"_s}));

    EXPECT_TRUE(M3U::read(media.write(u"bin.m3u"_s, QByteArray("fLaC\0\0\0\x22", 8))).isEmpty());
    EXPECT_EQ(LogCapture::count(u"sonvale.player: Cannot read playlist "_s + media.path(u"bin.m3u"_s) +
                                u": not a text file"_s), 1);
    EXPECT_TRUE(M3U::read(media.path(u"missing.m3u"_s)).isEmpty());
    EXPECT_EQ(LogCapture::count(u"Cannot read playlist "_s + media.path(u"missing.m3u"_s)), 1);

    QFile big(media.path(u"big.m3u"_s));
    ASSERT_TRUE(big.open(QIODevice::WriteOnly) && big.resize(M3U::kMaxSize + 1));
    EXPECT_TRUE(M3U::read(big.fileName()).isEmpty());
    EXPECT_EQ(LogCapture::count(u"larger than"_s), 1);
}

TEST(M3U, FormatWritesExtendedEntriesWithAbsoluteOrRelativePaths) {
    auto track = [](const QString& path, const QString& artist, const QString& title, double duration) {
        auto made = std::make_shared<Track>(path);
        made->artist = artist;
        made->title = title;
        made->duration = duration;
        return made;
    };
    const QList<TrackRef> tracks = {track(u"/m/lists/a.flac"_s, u"Ann"_s, u"Song"_s, 181.6),
                                    track(u"/m/other/#b.mp3"_s, u""_s, u"Two\nlines"_s, 0),
                                    track(u"/m/lists/#c.mp3"_s, u"Ann"_s, u""_s, 5),
                                    track(u"/m/bad\nname.mp3"_s, u""_s, u""_s, 1)};
    EXPECT_EQ(M3U::format(tracks, u"/m/lists/p.m3u"_s, true),
              "#EXTM3U\n#EXTINF:182,Ann - Song\n/m/lists/a.flac\n#EXTINF:-1,Two lines\n/m/other/#b.mp3\n"
              "#EXTINF:5,#c\n/m/lists/#c.mp3\n");
    EXPECT_EQ(M3U::format(tracks, u"/m/lists/p.m3u"_s, false),
              "#EXTM3U\n#EXTINF:182,Ann - Song\na.flac\n#EXTINF:-1,Two lines\n../other/#b.mp3\n"
              "#EXTINF:5,#c\n./#c.mp3\n");
}
