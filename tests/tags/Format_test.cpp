#include "AudioInfo.h"
#include "Format.h"

#include <gtest/gtest.h>

using namespace sonvale;

TEST(Format, NormalizeTrackNumberKeepsTheNumberBeforeTheSlash) {
    EXPECT_EQ(Format::normalizeTrackNumber(QStringLiteral("03/12")), QStringLiteral("3"));
    EXPECT_EQ(Format::normalizeTrackNumber(QStringLiteral(" 007 ")), QStringLiteral("7"));
    EXPECT_EQ(Format::normalizeTrackNumber(QStringLiteral("A1")), QStringLiteral("A1"));
    EXPECT_EQ(Format::normalizeTrackNumber(QString(QChar(0)) + QStringLiteral("4\n")), QStringLiteral("4"));
    EXPECT_FALSE(Format::normalizeTrackNumber(QStringLiteral("0")));
    EXPECT_FALSE(Format::normalizeTrackNumber(QStringLiteral("00")));
    EXPECT_FALSE(Format::normalizeTrackNumber(QStringLiteral("/5")));
    EXPECT_FALSE(Format::normalizeTrackNumber(QStringLiteral("")));
    EXPECT_FALSE(Format::normalizeTrackNumber(QStringLiteral("99999999999999999999")));
}

TEST(Format, TrackNumberFromFileNameNeedsOneToThreeDigitsAndASeparator) {
    EXPECT_EQ(Format::trackNumberFromFileName(QStringLiteral("07 - Song.mp3")), QStringLiteral("07"));
    EXPECT_EQ(Format::trackNumberFromFileName(QStringLiteral("1.Intro.flac")), QStringLiteral("1"));
    EXPECT_EQ(Format::trackNumberFromFileName(QStringLiteral("123-x.flac")), QStringLiteral("123"));
    EXPECT_EQ(Format::trackNumberFromFileName(QStringLiteral("2020 Live.mp3")), QString());
    EXPECT_EQ(Format::trackNumberFromFileName(QStringLiteral("12Intro.flac")), QString());
    EXPECT_EQ(Format::trackNumberFromFileName(QStringLiteral("Song 07.mp3")), QString());
}

TEST(Format, ChannelsDescription) {
    EXPECT_EQ(Format::channelsDescription(0), QStringLiteral("None"));
    EXPECT_EQ(Format::channelsDescription(1), QStringLiteral("Mono"));
    EXPECT_EQ(Format::channelsDescription(2), QStringLiteral("Stereo"));
    EXPECT_EQ(Format::channelsDescription(6), QStringLiteral("6CH"));
}

TEST(FinalizeChapters, DropsNegativeStartsAndFillsMissingEnds) {
    const QList<Chapter> in = {{10, 0, QStringLiteral("b")}, {0, 0, QStringLiteral("a")}, {-1, 5, QStringLiteral("x")},
                               {std::nan(""), 1, QStringLiteral("n")}};
    const QList<Chapter> expected = {{0, 10, QStringLiteral("a")}, {10, 30, QStringLiteral("b")}};
    EXPECT_EQ(finalizeChapters(in, 30), expected);
    EXPECT_TRUE(finalizeChapters({}, 30).isEmpty());
}

TEST(FinalizeChapters, KeepsProperEndsAndBadEndsPastTheDuration) {
    const QList<Chapter> in = {{0, 20, QStringLiteral("overlaps")}, {10, 0, QStringLiteral("tie")},
                               {10, 0, QStringLiteral("tie2")}, {40, 0, QStringLiteral("late")}};
    const QList<Chapter> out = finalizeChapters(in, 30);
    ASSERT_EQ(out.size(), 4);
    EXPECT_EQ(out[0].end, 20);
    EXPECT_EQ(out[1].title, QStringLiteral("tie"));  // stable among equal starts
    EXPECT_EQ(out[1].end, 0);                        // does not start before the next
    EXPECT_EQ(out[2].end, 40);
    EXPECT_EQ(out[3].end, 0);                        // starts after the duration
}
