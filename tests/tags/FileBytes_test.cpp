#include "FileBytes.h"

#include "MediaFactory.h"

#include <QDir>

#include <gtest/gtest.h>

using sonvale::FileBytes;

TEST(FileBytes, OpenFailsForEmptyMissingAndNonRegularFiles) {
    MediaFactory media;
    EXPECT_FALSE(FileBytes::open(media.write(QStringLiteral("empty"), {})));
    EXPECT_FALSE(FileBytes::open(media.path(QStringLiteral("missing"))));
    EXPECT_FALSE(FileBytes::open(media.dir()));
    const QString fifo = media.path(QStringLiteral("fifo"));
    ASSERT_TRUE(MediaFactory::run(QStringLiteral("mkfifo"), {fifo}));
    EXPECT_FALSE(FileBytes::open(fifo));  // and it must not block on the open
}

TEST(FileBytes, ExactReadsLieWhollyInsideTheFileAndClampedReadsTakeWhatIsLeft) {
    MediaFactory media;
    const auto file = FileBytes::open(media.write("f", "0123456789"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 10);
    EXPECT_EQ(file->read(6, 4), QByteArray("6789"));
    EXPECT_FALSE(file->read(7, 4));
    EXPECT_FALSE(file->read(-1, 4));
    EXPECT_FALSE(file->read(0, 0));
    EXPECT_FALSE(file->read(std::numeric_limits<qint64>::max(), 4));
    EXPECT_EQ(file->readUpTo(7, 12), QByteArray("789"));
    EXPECT_EQ(file->readUpTo(0, 3), QByteArray("012"));
    EXPECT_FALSE(file->readUpTo(10, 12));
    EXPECT_FALSE(file->readUpTo(-1, 3));
}

TEST(FileBytes, ReadsFromAFileThatShrankFail) {
    MediaFactory media;
    const QString path = media.write(QStringLiteral("f"), QByteArray(3 * FileBytes::kHeadSize, 'x'));
    const auto file = FileBytes::open(path);
    ASSERT_TRUE(file);
    QFile::resize(path, 10);
    EXPECT_FALSE(file->read(2 * FileBytes::kHeadSize, 10));
    EXPECT_EQ(file->read(0, 10), QByteArray(10, 'x'));
}
