#include "AppFixture.h"

#include "AppActions.h"
#include "DB.h"
#include "ElidedLabel.h"
#include "GeneralPane.h"
#include "LabelsPane.h"
#include "Library.h"
#include "LibraryFoldersModel.h"
#include "LibraryPane.h"
#include "MainWindow.h"
#include "PlaybackPane.h"
#include "Preferences.h"
#include "PreferencesWindow.h"
#include "TrackPanel.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStyle>
#include <QTableView>
#include <QTest>
#include <QToolButton>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

class PreferencesWindowTest : public AppFixture {
protected:
    void SetUp() override {
        AppFixture::SetUp();
        if (IsSkipped()) return;
        // Cases run in one process share the store: each starts with an empty library.
        for (const FolderRef& folder : QList<FolderRef>(app_->library().folders())) app_->library().removeFolder(folder);
        app_->showPreferences(PreferencesWindow::Pane::Library);
    }

    LibraryPane& pane() { return *app_->preferencesWindow().library(); }
    FolderRef folder(int row) { return app_->folders().folderAt(row); }
    QString stateText(int row) { return app_->folders().index(row, LibraryFoldersModel::State).data().toString(); }

    // A library folder holding copies of the fixture's three files; ready when this returns.
    FolderRef addScannedFolder(const QString& name) {
        QDir().mkpath(media_.path(name));
        for (const QString& path : paths_) QFile::copy(path, media_.path(name + u"/"_s + QFileInfo(path).fileName()));
        pane().addFolders({media_.path(name)});
        const FolderRef added = folder(app_->folders().rowOf(media_.path(name)));
        if (!added || !spinUntil([&] { return added->state == Folder::State::ready; }, 30)) return nullptr;
        return added;
    }

    // The question the pane has open, once it is there.
    QMessageBox* question() {
        QMessageBox* box = nullptr;
        spinUntil([&] { return (box = app_->preferencesWindow().findChild<QMessageBox*>()) && box->isVisible(); }, 10);
        return box;
    }
    void answer(QMessageBox* box, QMessageBox::StandardButton button) {
        box->button(button)->click();
        spinUntil([&] { return !app_->preferencesWindow().findChild<QMessageBox*>(); }, 5);
    }

    // How many track records folder `pk` holds, read through a connection of its own.
    static qint64 storedTracks(qint64 pk) { return DB(DB::defaultDataDirectory()).trackCount(pk); }
};

// Add scans the folder; the table shows the state and the last scan, and Rescan is offered
// only while no scan of the folder is queued or running.
TEST_F(PreferencesWindowTest, AnAddedFolderIsScannedAndRescanWaitsForTheScanToEnd) {
    EXPECT_EQ(app_->preferencesWindow().currentPane(), PreferencesWindow::Pane::Library);
    QDir().mkpath(media_.path(u"Music"_s));
    for (const QString& path : paths_) QFile::copy(path, media_.path(u"Music/"_s + QFileInfo(path).fileName()));
    QSignalSpy changes(&app_->folders(), &QAbstractItemModel::dataChanged);
    pane().addFolders({media_.path(u"Music"_s)});
    ASSERT_EQ(app_->folders().rowCount(), 1);
    const FolderRef added = folder(0);
    EXPECT_EQ(pane().table()->selectionModel()->selectedRows().size(), 1);
    EXPECT_TRUE(pane().removeButton()->isEnabled());
    EXPECT_FALSE(pane().rescanButton()->isEnabled());

    ASSERT_TRUE(spinUntil([&] { return stateText(0) == u"Ready"_s; }, 30));
    EXPECT_GE(changes.size(), 2);  // scanning, the progress of the pass, ready
    EXPECT_TRUE(pane().rescanButton()->isEnabled());
    EXPECT_NE(app_->folders().index(0, LibraryFoldersModel::LastScan).data().toString(), u"Never"_s);
    EXPECT_EQ(storedTracks(*added->pk), 3);

    // Adding the same folder again adds nothing.
    pane().addFolders({media_.path(u"Music/"_s)});
    EXPECT_EQ(app_->library().folders().size(), 1);

    pane().rescanButton()->click();
    EXPECT_EQ(added->state, Folder::State::scanning);
    EXPECT_FALSE(pane().rescanButton()->isEnabled());
    pane().rescanSelected();  // refused while scanning: no second scan is queued
    ASSERT_TRUE(spinUntil([&] { return added->state == Folder::State::ready; }, 30));
    EXPECT_TRUE(pane().rescanButton()->isEnabled());
}

// Remove asks first; Cancel keeps the folder, Remove takes it out of the library and leaves
// the files on disk alone.
TEST_F(PreferencesWindowTest, RemoveAsksFirstAndLeavesTheFilesOnDisk) {
    const FolderRef added = addScannedFolder(u"Music"_s);
    ASSERT_TRUE(added);
    pane().removeButton()->click();
    QMessageBox* box = question();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->text().contains(media_.path(u"Music"_s)));
    EXPECT_TRUE(box->informativeText().contains(u"No file on disk is touched"_s));
    EXPECT_EQ(box->defaultButton(), box->button(QMessageBox::Cancel));
    answer(box, QMessageBox::Cancel);
    EXPECT_EQ(app_->folders().rowCount(), 1);

    pane().removeSelected();
    box = question();
    ASSERT_TRUE(box);
    answer(box, QMessageBox::Ok);
    EXPECT_EQ(app_->folders().rowCount(), 0);
    EXPECT_TRUE(app_->library().folders().isEmpty());
    EXPECT_FALSE(pane().removeButton()->isEnabled());
    EXPECT_EQ(QDir(media_.path(u"Music"_s)).entryList(QDir::Files).size(), 3);
}

// A folder whose directory has gone (an unmounted disk) would lose every track to a rescan: the
// pane asks, naming the folder and its tracks, with Cancel as the default; Cancel keeps every
// track, Rescan Anyway removes them.
TEST_F(PreferencesWindowTest, RescanOfAMissingFolderAsksAndCancelKeepsEveryTrack) {
    const FolderRef added = addScannedFolder(u"Disk"_s);
    ASSERT_TRUE(added);
    ASSERT_EQ(storedTracks(*added->pk), 3);
    ASSERT_TRUE(QDir(media_.dir()).rename(u"Disk"_s, u"Unmounted"_s));

    pane().rescanSelected();
    QMessageBox* box = question();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->text().contains(media_.path(u"Disk"_s)));
    EXPECT_TRUE(box->informativeText().contains(u"all its 3 tracks"_s)) << box->informativeText().toStdString();
    EXPECT_EQ(box->defaultButton(), box->button(QMessageBox::Cancel));
    answer(box, QMessageBox::Cancel);
    EXPECT_EQ(added->state, Folder::State::ready);
    EXPECT_EQ(storedTracks(*added->pk), 3);

    pane().rescanSelected();
    box = question();
    ASSERT_TRUE(box);
    answer(box, QMessageBox::Ok);
    ASSERT_TRUE(spinUntil([&] { return added->state == Folder::State::ready; }, 30));
    EXPECT_EQ(storedTracks(*added->pk), 0);
}

// A tag ticked in the labels pane changes the main window's label, is saved, and shows in the
// pane's preview as the window shows it.
TEST_F(PreferencesWindowTest, ALabelTickedInThePaneChangesTheMainWindowAndIsSaved) {
    fill();
    TrackPanel& panel = *app_->window().panel();
    player().playItem(player().playlist().items[0], false);
    ASSERT_TRUE(spinUntil([&] { return panel.rightLabel()->fullText() == u"3 tracks, 0:09"_s; }, 5));
    app_->showPreferences(PreferencesWindow::Pane::Labels);
    LabelsPane& labels = *app_->preferencesWindow().labels();
    constexpr size_t kRight = 3;
    constexpr int kPlaylistDuration = 10, kSampleRate = 8;
    EXPECT_EQ(labels.preview(kRight)->text(), u"3 tracks, 0:09"_s);

    labels.tagBox(kRight, kPlaylistDuration)->click();
    labels.tagBox(kRight, kSampleRate)->click();
    ASSERT_TRUE(spinUntil([&] { return panel.rightLabel()->fullText() == u"44100Hz, 3 tracks"_s; }, 5));
    EXPECT_EQ(labels.preview(kRight)->text(), u"44100Hz, 3 tracks"_s);
    const Preferences stored;
    EXPECT_EQ(stored.labels.right, (Tags{.sampleRate = true, .playlistCount = true, .separator = TagSeparator::Comma}));
}

// A change in the general pane is saved and takes effect at once (announced where a window
// reacts to it); always on top stays in step with the View menu's action both ways.
TEST_F(PreferencesWindowTest, GeneralChangesAreSavedAndTakeEffectAtOnce) {
    app_->showPreferences(PreferencesWindow::Pane::General);
    GeneralPane& general = *app_->preferencesWindow().general();
    QSignalSpy announced(&app_->notifications(), &Notifications::winampKeysChanged);
    general.winampKeys()->click();
    ASSERT_TRUE(announced.wait(2000));
    EXPECT_TRUE(Preferences().winampKeys);

    // The time display turns to the total at once, also while nothing plays.
    fill();
    player().playItem(player().playlist().items[0], false);
    player().pause();
    QToolButton& time = *app_->window().panel()->timeRight();
    ASSERT_TRUE(spinUntil([&] { return time.text().startsWith(u"-"_s); }, 5));
    general.timeRightTotal()->click();
    EXPECT_EQ(time.text(), u"0:03"_s);
    general.absolutePaths()->click();
    const Preferences stored;
    EXPECT_TRUE(stored.timeRightTotal);
    EXPECT_TRUE(stored.useAbsolutePathsForPlaylists);

    // The appearance applies to the whole application at once, and System brings back the
    // desktop's own look.
    const QString systemStyle = QApplication::style()->name();
    general.appearance()->setCurrentIndex(general.appearance()->findData(int(Appearance::Dark)));
    EXPECT_EQ(Preferences().appearance, Appearance::Dark);
    EXPECT_EQ(QApplication::style()->name(), u"fusion"_s);
    EXPECT_LT(QApplication::palette().color(QPalette::Window).lightness(), 100);
    general.appearance()->setCurrentIndex(general.appearance()->findData(int(Appearance::System)));
    EXPECT_EQ(Preferences().appearance, Appearance::System);
    EXPECT_EQ(QApplication::style()->name(), systemStyle);

    general.alwaysOnTop()->click();
    EXPECT_TRUE(app_->actions().alwaysOnTop->isChecked());
    EXPECT_TRUE(Preferences().alwaysOnTop);
    app_->actions().alwaysOnTop->trigger();
    EXPECT_FALSE(general.alwaysOnTop()->isChecked());
    EXPECT_FALSE(Preferences().alwaysOnTop);
}

TEST_F(PreferencesWindowTest, ThePlaybackPaneIsTheFourthTab) {
    app_->showPreferences(PreferencesWindow::Pane::Playback);
    EXPECT_EQ(app_->preferencesWindow().currentPane(), PreferencesWindow::Pane::Playback);
    EXPECT_TRUE(app_->preferencesWindow().playback()->isVisible());
}

// The keys the main window's playlist reads (Space, Ctrl+A, Ctrl+C) belong to the focused control
// of another window: Space ticks a box in the preferences instead of pausing the music. Escape
// closes the window.
TEST_F(PreferencesWindowTest, SpaceInThePreferencesTicksTheFocusedBoxAndLeavesPlaybackAlone) {
    fill();
    player().playItem(player().playlist().items[0], false);
    ASSERT_TRUE(spinUntil([&] { return player().isPlaying(); }, 5));
    app_->showPreferences(PreferencesWindow::Pane::General);
    QCheckBox& box = *app_->preferencesWindow().general()->alwaysEnqueue();
    QApplication::setActiveWindow(&app_->preferencesWindow());
    box.setFocus();
    const bool before = box.isChecked();
    QSignalSpy selectAll(&app_->notifications(), &Notifications::selectAll);
    QTest::keyClick(&box, Qt::Key_Space);
    QTest::keyClick(&box, Qt::Key_A, Qt::ControlModifier);
    QCoreApplication::processEvents();
    EXPECT_NE(box.isChecked(), before);
    EXPECT_TRUE(player().isPlaying());
    EXPECT_EQ(selectAll.size(), 0);
    box.click();  // the store is shared with the next case
    QTest::keyClick(&box, Qt::Key_Escape);
    EXPECT_FALSE(app_->preferencesWindow().isVisible());
}

}  // namespace
