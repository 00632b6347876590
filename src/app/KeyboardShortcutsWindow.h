#pragma once

#include <QDialog>

class QAction;
class QTreeWidget;

namespace sonvale {

class Preferences;

// Lists the program's keys: every menu command's shortcut, read from the actions themselves;
// the keys the playlist table and the search window read, from the lists their key handling
// uses; and the single-key transport keys with whether the "winampKeys" preference is on. The
// list is made afresh each time the window is shown, so it says what the keys do now. Main
// thread only; the actions and the preferences must outlive the window.
class KeyboardShortcutsWindow : public QDialog {
    Q_OBJECT
public:
    struct Row {
        QString section;  // "Edit", "Playlist", "Search window", ...
        QString command;  // without the menu's & marks
        QString keys;     // in the platform's notation; several joined by ", "
    };

    KeyboardShortcutsWindow(QList<QAction*> actions, const Preferences& preferences, QWidget* parent = nullptr);

    // The rows in the order shown: the menus' actions that have a shortcut (in the order of
    // `actions`, under their menu's title), then the playlist's, the search window's and the
    // single-key transport keys.
    static QList<Row> rows(const QList<QAction*>& actions, bool winampKeysOn);

    QTreeWidget* tree() const { return tree_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    const QList<QAction*> actions_;
    const Preferences& preferences_;
    QTreeWidget* tree_;
};

}  // namespace sonvale
