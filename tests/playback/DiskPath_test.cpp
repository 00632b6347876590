#include "DiskPath.h"

#include "MediaFactory.h"

#include <QDir>

#include <gtest/gtest.h>

using sonvale::findOnDisk;

namespace {

const QString kDecomposed = QStringLiteral("Cafe\u0301 Noe\u0308l");  // as written on disk

TEST(DiskPath, ComposedPathFindsTheDecomposedNamesOnDisk) {
    MediaFactory media;
    ASSERT_TRUE(QDir(media.dir()).mkpath(kDecomposed));
    const QString file = kDecomposed + QStringLiteral("/") + kDecomposed + QStringLiteral(".flac");
    const QString onDisk = media.write(file, "x");
    ASSERT_FALSE(onDisk.isEmpty());
    const QString composed = onDisk.normalized(QString::NormalizationForm_C);
    ASSERT_NE(composed, onDisk);

    EXPECT_EQ(findOnDisk(composed), onDisk);
    EXPECT_EQ(findOnDisk(onDisk), onDisk);
    const QString missing = media.path(kDecomposed + QStringLiteral("/gone.flac")).normalized(QString::NormalizationForm_C);
    EXPECT_EQ(findOnDisk(missing), missing);
    EXPECT_EQ(findOnDisk(QStringLiteral("relative/x.flac")), QStringLiteral("relative/x.flac"));
}

}  // namespace
