#include "LibraryFoldersModel.h"

#include "DB.h"
#include "EventLoop.h"
#include "Library.h"
#include "MediaFactory.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

class LibraryFoldersModelTest : public testing::Test {
protected:
    // `count` short FLAC files in a new folder `name`; its path.
    QString folderWith(const QString& name, int count) {
        const QString first = media.ffmpeg(name + u"/00.flac"_s, {}, 0.1);
        if (first.isEmpty()) return {};
        for (int i = 1; i < count; ++i) {
            if (!QFile::copy(first, media.path(u"%1/%2.flac"_s.arg(name).arg(i, 2, 10, QChar(u'0'))))) return {};
        }
        return media.path(name);
    }
    FolderRef add(const QString& root) {
        auto folder = std::make_shared<Folder>();
        folder->root = root;
        library.addFolders({folder}, library.folders().size());
        return folder;
    }

    MediaFactory media;
    QTemporaryDir data;
    std::shared_ptr<DB> db = std::make_shared<DB>(data.path());
    Queues queues;
    // Made before the library, so it outlives it as a listener must.
    std::unique_ptr<LibraryFoldersModel> model;
    Library library{db, queues};
};

// The rows follow the library through a whole scan: inserted when added, the state column
// carrying the progress of the per-file pass, ready with a local date at the end, and gone
// when removed; every step a proper model change.
TEST_F(LibraryFoldersModelTest, RowsFollowAScanFromAddToReadyAndRemoval) {
    const QString root = folderWith(u"Music"_s, 51);
    ASSERT_FALSE(root.isEmpty());
    model = std::make_unique<LibraryFoldersModel>(library);
    QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::Warning);
    QStringList seen;
    QObject::connect(model.get(), &QAbstractItemModel::dataChanged, [&](const QModelIndex& from, const QModelIndex& to) {
        EXPECT_EQ(from.column(), 0);
        EXPECT_EQ(to.column(), LibraryFoldersModel::ColumnCount - 1);
        const QModelIndex state = model->index(from.row(), LibraryFoldersModel::State);
        const QPoint progress = state.data(LibraryFoldersModel::ProgressRole).toPoint();
        seen.append(state.data().toString() + (progress.isNull() ? QString() : u" %1/%2"_s.arg(progress.x()).arg(progress.y())));
    });

    const FolderRef folder = add(root);
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_EQ(model->index(0, LibraryFoldersModel::Path).data().toString(), QDir::toNativeSeparators(root));
    EXPECT_EQ(model->index(0, LibraryFoldersModel::LastScan).data().toString(), u"Never"_s);
    ASSERT_TRUE(spinUntil([&] { return folder->state == Folder::State::ready && !seen.isEmpty() && seen.last() == u"Ready"_s; }, 30));
    EXPECT_EQ(seen, QStringList({u"Scanning"_s, u"Indexing 0 of 51 0/51"_s, u"Indexing 50 of 51 50/51"_s, u"Ready"_s}));
    EXPECT_NE(model->index(0, LibraryFoldersModel::LastScan).data().toString(), u"Never"_s);

    // A second folder goes after the first; removing the first leaves the second in row 0.
    const QString other = folderWith(u"Other"_s, 1);
    ASSERT_FALSE(other.isEmpty());
    const FolderRef second = add(other);
    ASSERT_EQ(model->rowCount(), 2);
    EXPECT_EQ(model->folderAt(1), second);
    QSignalSpy removed(model.get(), &QAbstractItemModel::rowsRemoved);
    library.removeFolder(folder);
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed.front().at(1).toInt(), 0);
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_EQ(model->folderAt(0), second);
    EXPECT_EQ(model->rowOf(root), -1);
    ASSERT_TRUE(spinUntil([&] { return second->state == Folder::State::ready; }, 30));
    // The removed folder's scan had finished; nothing of it comes back.
    EXPECT_EQ(model->rowCount(), 1);
}

}  // namespace
