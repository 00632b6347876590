#include "KeyboardShortcutsWindow.h"

#include "KeyMonitor.h"
#include "Preferences.h"
#include "SearchBox.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QMenu>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace sonvale {

namespace {

QString plainText(QString text) {
    // "&&" is a literal ampersand; a single "&" marks the mnemonic.
    text.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
    text.remove(QLatin1Char('&'));
    return text.replace(QLatin1Char('\x01'), QLatin1Char('&'));
}

QString menuTitle(const QAction& action) {
    // The menu bar's menus have titles; the tray's menu, which shares some actions, has none.
    for (QObject* object : action.associatedObjects()) {
        const auto* menu = qobject_cast<QMenu*>(object);
        if (menu && !menu->title().isEmpty()) return plainText(menu->title());
    }
    return KeyboardShortcutsWindow::tr("Other");
}

QString keysText(const QList<QKeySequence>& keys) {
    QStringList texts;
    for (const QKeySequence& key : keys) texts.append(key.toString(QKeySequence::NativeText));
    return texts.join(QStringLiteral(", "));
}

void appendBindings(QList<KeyboardShortcutsWindow::Row>& rows, const QString& section, const QList<KeyBinding>& bindings) {
    // Keys for the same command share a row ("Delete, Backspace").
    for (const KeyBinding& binding : bindings) {
        const auto same = std::find_if(rows.begin(), rows.end(), [&](const KeyboardShortcutsWindow::Row& row) {
            return row.section == section && row.command == binding.description;
        });
        const QString key = binding.sequence().toString(QKeySequence::NativeText);
        if (same != rows.end()) {
            same->keys += QStringLiteral(", ") + key;
        } else {
            rows.append({section, binding.description, key});
        }
    }
}

}  // namespace

KeyboardShortcutsWindow::KeyboardShortcutsWindow(QList<QAction*> actions, const Preferences& preferences, QWidget* parent)
    : QDialog(parent), actions_(std::move(actions)), preferences_(preferences), tree_(new QTreeWidget(this)) {
    setWindowTitle(tr("Keyboard Shortcuts"));
    tree_->setColumnCount(2);
    tree_->setHeaderLabels({tr("Command"), tr("Keys")});
    tree_->setRootIsDecorated(false);
    tree_->setSelectionMode(QAbstractItemView::NoSelection);
    tree_->setFocusPolicy(Qt::NoFocus);
    tree_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    tree_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    tree_->header()->setStretchLastSection(false);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tree_);
    layout->addWidget(buttons);
    resize(500, 720);
}

QList<KeyboardShortcutsWindow::Row> KeyboardShortcutsWindow::rows(const QList<QAction*>& actions, bool winampKeysOn) {
    QList<Row> rows;
    for (const QAction* action : actions) {
        if (action->shortcuts().isEmpty()) continue;
        rows.append({menuTitle(*action), plainText(action->text()), keysText(action->shortcuts())});
    }
    // One heading per menu, in the order the menus first appear, whatever the order of actions.
    QStringList menus;
    for (const Row& row : rows) {
        if (!menus.contains(row.section)) menus.append(row.section);
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [&](const Row& a, const Row& b) { return menus.indexOf(a.section) < menus.indexOf(b.section); });
    appendBindings(rows, tr("Playlist"), KeyMonitor::playlistKeys());
    appendBindings(rows, tr("Search window"), SearchBox::keys());
    appendBindings(rows, winampKeysOn ? tr("Single-key transport (on)") : tr("Single-key transport (off: \"winampKeys\")"),
                   KeyMonitor::winampKeys());
    return rows;
}

void KeyboardShortcutsWindow::showEvent(QShowEvent* event) {
    refresh();
    QDialog::showEvent(event);
}

void KeyboardShortcutsWindow::refresh() {
    tree_->clear();
    QTreeWidgetItem* heading = nullptr;
    for (const Row& row : rows(actions_, preferences_.winampKeys)) {
        if (!heading || heading->text(0) != row.section) {
            heading = new QTreeWidgetItem(tree_, {row.section});
            QFont bold = heading->font(0);
            bold.setBold(true);
            heading->setFont(0, bold);
            heading->setFirstColumnSpanned(true);
        }
        new QTreeWidgetItem(tree_, {QStringLiteral("    ") + row.command, row.keys});
    }
}

}  // namespace sonvale
