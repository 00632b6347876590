#include "ByteView.h"

#include <gtest/gtest.h>

using sonvale::ByteView;

TEST(ByteView, DecodesIntegersInBothByteOrders) {
    const QByteArray bytes("\x01\x02\x03\x04\x05\x06\x07\x08", 8);
    const ByteView v(bytes);
    EXPECT_EQ(v.be16(0), 0x0102u);
    EXPECT_EQ(v.be24(1), 0x020304u);
    EXPECT_EQ(v.be32(0), 0x01020304u);
    EXPECT_EQ(v.le32(0), 0x04030201u);
    EXPECT_EQ(v.be64(0), 0x0102030405060708ull);
    EXPECT_EQ(v.le64(0), 0x0807060504030201ull);
}

TEST(ByteView, AnswersNothingOutsideTheWindowOrAtNegativeIndex) {
    const QByteArray bytes("\x01\x02\x03\x04", 4);
    const ByteView v(bytes);
    EXPECT_FALSE(v.be32(1));
    EXPECT_FALSE(v.u8(-1));
    EXPECT_FALSE(v.u8(4));
    EXPECT_FALSE(v.sub(2, 3));
    EXPECT_FALSE(v.slice(-1, 2));
    EXPECT_FALSE(v.sub(std::numeric_limits<qint64>::max(), 1));
    EXPECT_TRUE(v.sub(4, 0));
    EXPECT_EQ(v.slice(0, 4), bytes);
}

TEST(ByteView, SyncsafeRejectsBytesWithTopBit) {
    const QByteArray good("\x00\x00\x02\x01", 4);
    EXPECT_EQ(ByteView(good).syncsafe32(0), 257u);
    const QByteArray bad("\x00\x80\x02\x01", 4);
    EXPECT_FALSE(ByteView(bad).syncsafe32(0));
}

TEST(ByteView, FourCharacterCodeMustBePrintableAscii) {
    const QByteArray bytes("ftyp\x01\xff\x20\x20", 8);
    const ByteView v(bytes);
    EXPECT_EQ(v.fourCC(0), QStringLiteral("ftyp"));
    EXPECT_FALSE(v.fourCC(4));
    EXPECT_TRUE(v.startsWith("ftyp"));
    EXPECT_FALSE(v.hasAt(6, "   "));
}
