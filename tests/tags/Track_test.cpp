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

TEST(Track, OrdersCaseInsensitivelyNumericallyAndWithoutDiacritics) {
    EXPECT_LT(Track("/m/Track 2.mp3"), Track("/m/track 10.mp3"));
    EXPECT_LT(Track("/m/A9.mp3"), Track("/m/a10.mp3"));
    EXPECT_FALSE(Track("/m/a10.mp3") < Track("/m/A9.mp3"));
    EXPECT_LT(Track("/m/b 007.mp3"), Track("/m/b 8.mp3"));
    EXPECT_LT(Track("/m/x"), Track("/m/x1"));
    EXPECT_EQ(comparePaths("/m/Café", "/m/cafe"), 0);
    EXPECT_LT(comparePaths("/m/Ébène", "/m/f"), 0);
    // Decomposed and composed forms of the same name sort together.
    EXPECT_EQ(comparePaths(QStringLiteral("/m/e\u0301t\u00e9"), QStringLiteral("/m/\u00e9te\u0301")), 0);
}
