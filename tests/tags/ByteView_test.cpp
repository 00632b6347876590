#include "ByteView.h"

#include <gtest/gtest.h>

using sonvale::ByteView;

TEST(ByteView, AnswersNothingOutsideTheWindowOrAtNegativeIndex) {
    const QByteArray bytes("\x01\x02\x03\x04", 4);
    const ByteView v(bytes);
    EXPECT_FALSE(v.be32(1));
    EXPECT_FALSE(v.u8(-1));
    EXPECT_FALSE(v.u8(4));
    EXPECT_FALSE(v.sub(2, 3));
    EXPECT_FALSE(v.slice(-1, 2));
    EXPECT_FALSE(v.sub(std::numeric_limits<qint64>::max(), 1));
    EXPECT_FALSE(v.hasAt(2, "\x03\x04\x05"));
    EXPECT_TRUE(v.sub(4, 0));
    EXPECT_EQ(v.slice(0, 4), bytes);
}
