#include "ByteView.h"

#include <gtest/gtest.h>

using sonvale::ByteView;

TEST(ByteView, DecodesIntegersInBothByteOrdersAndSyncsafeWithoutTopBits) {
    const QByteArray bytes("\x01\x02\x03\x04\x05\x06\x07\x08", 8);
    const ByteView v(bytes);
    EXPECT_EQ(v.be24(1), 0x020304u);
    EXPECT_EQ(v.le32(0), 0x04030201u);
    EXPECT_EQ(v.be64(0), 0x0102030405060708ull);
    EXPECT_EQ(v.le64(0), 0x0807060504030201ull);
    EXPECT_EQ(ByteView(QByteArray("\x00\x00\x02\x01", 4)).syncsafe32(0), 257u);
    EXPECT_FALSE(ByteView(QByteArray("\x00\x80\x02\x01", 4)).syncsafe32(0));
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
    EXPECT_FALSE(v.hasAt(2, "\x03\x04\x05"));
    EXPECT_TRUE(v.sub(4, 0));
    EXPECT_EQ(v.slice(0, 4), bytes);
}

TEST(ByteView, FourCharacterCodeMustBePrintableAscii) {
    const QByteArray bytes("ftyp\x01\xff\x20\x20", 8);
    EXPECT_EQ(ByteView(bytes).fourCC(0), QStringLiteral("ftyp"));
    EXPECT_FALSE(ByteView(bytes).fourCC(4));
}
