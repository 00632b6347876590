#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

// Every test process runs with HOME and the XDG folders in a private temporary folder, so no
// test can touch the user's real data or settings.
int main(int argc, char** argv) {
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/sonvale-test-XXXXXX"));
    if (!home.isValid()) return 3;
    const QByteArray root = QFile::encodeName(home.path());
    setenv("HOME", root.constData(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").constData(), 1);
    setenv("XDG_CONFIG_HOME", (root + "/config").constData(), 1);
    setenv("XDG_CACHE_HOME", (root + "/cache").constData(), 1);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
