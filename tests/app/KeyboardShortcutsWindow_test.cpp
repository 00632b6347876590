#include "AppFixture.h"

#include "AboutDialog.h"
#include "AppActions.h"
#include "KeyMonitor.h"
#include "KeyboardShortcutsWindow.h"
#include "MainWindow.h"
#include "Notifications.h"
#include "Preferences.h"
#include "PreferencesWindow.h"
#include "SearchBox.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

// The rows of the window's table, as "section|command|keys".
QStringList rowTexts(const QList<KeyboardShortcutsWindow::Row>& rows) {
    QStringList texts;
    for (const KeyboardShortcutsWindow::Row& row : rows) texts.append(row.section + u'|' + row.command + u'|' + row.keys);
    return texts;
}

TEST_F(AppFixture, TheShortcutsWindowListsEveryActionsShortcutAndTheWindowsOwnKeys) {
    const QList<QAction*> actions = app_->actions().all();
    const QStringList rows = rowTexts(KeyboardShortcutsWindow::rows(actions, false));
    for (const QAction* action : actions) {
        if (action->shortcut().isEmpty()) continue;
        const QString key = action->shortcut().toString(QKeySequence::NativeText);
        const QString text = QString(action->text()).remove(u'&');
        EXPECT_EQ(rows.filter(u'|' + text + u'|' + key).size(), 1) << text.toStdString() << " " << key.toStdString();
    }
    // Next is in the tray's menu too, which has no title; a second key of a command is listed.
    EXPECT_TRUE(rows.contains(u"Playback|Next|Alt+Right"_s));
    EXPECT_TRUE(rows.contains(u"Playlist|Remove the selected tracks|Del, Backspace"_s));
    EXPECT_EQ(rows.filter(u"Search window|"_s).size(), SearchBox::keys().size());
    EXPECT_EQ(rows.filter(u"(off"_s).size(), KeyMonitor::winampKeys().size());
    EXPECT_EQ(rowTexts(KeyboardShortcutsWindow::rows(actions, true)).filter(u"(on)|"_s).size(), 5);

    // The window shows the same rows, one heading per section, and says whether single keys
    // work. (The preference is left alone: it is saved, and the next test would find it.)
    app_->actions().keyboardShortcuts->trigger();
    auto* window = app_->window().findChild<KeyboardShortcutsWindow*>();
    ASSERT_TRUE(window);
    EXPECT_TRUE(window->isVisible());
    const QString transport = app_->preferences().winampKeys ? u"Single-key transport (on)"_s
                                                             : u"Single-key transport (off: \"winampKeys\")"_s;
    EXPECT_EQ(window->tree()->findItems(transport, Qt::MatchExactly).size(), 1);
    EXPECT_EQ(window->tree()->findItems(u"Edit"_s, Qt::MatchExactly).size(), 1);
}

TEST_F(AppFixture, FindOpensTheSearchWindowAndAboutNamesTheLibrariesInUse) {
    app_->notifications().post(&Notifications::findFiles);
    ASSERT_TRUE(spinUntil([this] { return app_->searchBox().isVisible(); }, 5));
    EXPECT_TRUE(app_->searchBox().searchField()->hasFocus());
    // Without library folders the window invites to the preferences' library pane.
    auto* invitation = app_->searchBox().emptyOverlay()->findChild<QPushButton*>();
    ASSERT_TRUE(invitation);
    QTest::mouseClick(invitation, Qt::LeftButton);
    EXPECT_TRUE(app_->preferencesWindow().isVisible());
    EXPECT_EQ(app_->preferencesWindow().currentPane(), PreferencesWindow::Pane::Library);

    app_->actions().about->trigger();
    auto* about = app_->window().findChild<AboutDialog*>();
    ASSERT_TRUE(about);
    EXPECT_TRUE(about->isVisible());
    const QStringList versions = AboutDialog::libraryVersions();
    ASSERT_EQ(versions.size(), 4);
    EXPECT_EQ(versions[0], u"Qt "_s + QString::fromLatin1(qVersion()));
    for (const QString& line : versions) EXPECT_TRUE(line.contains(QRegularExpression(u"\\d+\\.\\d+"_s))) << line.toStdString();
}

}  // namespace
