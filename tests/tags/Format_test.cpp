#include "AudioInfo.h"
#include "Format.h"

#include <gtest/gtest.h>

using namespace sonvale;

TEST(Format, NormalizeTrackNumberKeepsTheNumberBeforeTheSlash) {
    EXPECT_EQ(Format::normalizeTrackNumber("03/12"), "3");
    EXPECT_EQ(Format::normalizeTrackNumber(" 007 "), "7");
    EXPECT_EQ(Format::normalizeTrackNumber("A1"), "A1");
    EXPECT_EQ(Format::normalizeTrackNumber(QString(QChar(0)) + "4\n"), "4");
    for (const char* none : {"0", "00", "/5", "", "99999999999999999999"}) {
        EXPECT_FALSE(Format::normalizeTrackNumber(none)) << none;
    }
}

TEST(Format, TrackNumberFromFileNameNeedsOneToThreeDigitsAndASeparator) {
    EXPECT_EQ(Format::trackNumberFromFileName("07 - Song.mp3"), "07");
    EXPECT_EQ(Format::trackNumberFromFileName("123-x.flac"), "123");
    for (const char* none : {"2020 Live.mp3", "12Intro.flac", "Song 07.mp3"}) {
        EXPECT_EQ(Format::trackNumberFromFileName(none), QString()) << none;
    }
}

TEST(FinalizeChapters, SortsDropsBadStartsAndFillsOnlyEndsThatCanFollowTheStart) {
    EXPECT_EQ(finalizeChapters({{10, 0, "b"}, {0, 0, "a"}, {-1, 5, "x"}, {std::nan(""), 1, "n"}}, 30),
              (QList<Chapter>{{0, 10, "a"}, {10, 30, "b"}}));
    EXPECT_TRUE(finalizeChapters({}, 30).isEmpty());
    // Proper ends stay, even overlapping; equal starts keep their order and their missing end; a
    // chapter past the duration has nothing to end it.
    EXPECT_EQ(finalizeChapters({{0, 20, "overlaps"}, {10, 0, "tie"}, {10, 0, "tie2"}, {40, 0, "late"}}, 30),
              (QList<Chapter>{{0, 20, "overlaps"}, {10, 0, "tie"}, {10, 40, "tie2"}, {40, 0, "late"}}));
}
