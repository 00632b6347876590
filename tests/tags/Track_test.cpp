#include "Track.h"

#include <QSet>

#include <gtest/gtest.h>

using namespace sonvale;

TEST(Track, IdentityIsThePathAlone) {
    Track a(QStringLiteral("/m/a.mp3"));
    Track b(QStringLiteral("/m/a.mp3"));
    a.pk = 1;
    b.pk = 2;
    b.title = QStringLiteral("other");
    EXPECT_EQ(a, b);
    EXPECT_EQ(qHash(a), qHash(b));
    EXPECT_NE(a, Track(QStringLiteral("/m/A.mp3")));
}

TEST(Track, OrdersCaseInsensitivelyAndNumerically) {
    EXPECT_LT(Track(QStringLiteral("/m/Track 2.mp3")), Track(QStringLiteral("/m/track 10.mp3")));
    EXPECT_LT(Track(QStringLiteral("/m/A9.mp3")), Track(QStringLiteral("/m/a10.mp3")));
    EXPECT_FALSE(Track(QStringLiteral("/m/a10.mp3")) < Track(QStringLiteral("/m/A9.mp3")));
    EXPECT_LT(Track(QStringLiteral("/m/b 007.mp3")), Track(QStringLiteral("/m/b 8.mp3")));
    EXPECT_LT(Track(QStringLiteral("/m/x")), Track(QStringLiteral("/m/x1")));
}

TEST(Track, OrderIgnoresDiacritics) {
    EXPECT_EQ(comparePaths(QStringLiteral("/m/Café"), QStringLiteral("/m/cafe")), 0);
    EXPECT_LT(comparePaths(QStringLiteral("/m/Ébène"), QStringLiteral("/m/f")), 0);
    // Decomposed and composed forms of the same name sort together.
    EXPECT_EQ(comparePaths(QStringLiteral("/m/e\u0301t\u00e9"), QStringLiteral("/m/\u00e9te\u0301")), 0);
}

TEST(Track, StatusFromRawValue) {
    EXPECT_EQ(trackStatusFromRaw(0), TrackStatus::none);
    EXPECT_EQ(trackStatusFromRaw(1), TrackStatus::scanned);
    EXPECT_FALSE(trackStatusFromRaw(2));
    EXPECT_FALSE(trackStatusFromRaw(-1));
}
