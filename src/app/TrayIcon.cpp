#include "TrayIcon.h"

#include "AppActions.h"
#include "LabelText.h"
#include "Player.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

namespace sonvale {

TrayIcon::TrayIcon(Player& player, AppActions& actions, QObject* parent)
    : QObject(parent), player_(player), menu_(std::make_unique<QMenu>()) {
    statusMenuItem_ = new QAction(this);
    statusMenuItem_->setEnabled(false);
    statusMenuItemSeparator_ = new QAction(this);
    statusMenuItemSeparator_->setSeparator(true);
    menu_->addActions({actions.playPause, actions.previous, actions.next});
    menu_->addSeparator();
    menu_->addAction(actions.quit);
    if (!QSystemTrayIcon::isSystemTrayAvailable()) return;
    icon_ = new QSystemTrayIcon(QApplication::windowIcon(), this);
    icon_->setToolTip(QStringLiteral("Sonvale"));
    icon_->setContextMenu(menu_.get());
    connect(icon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger) emit toggleWindowRequested();
    });
    icon_->show();
}

TrayIcon::~TrayIcon() = default;

void TrayIcon::refreshStatusLine() {
    const PlaylistItemRef& current = player_.current();
    const QList<QAction*> items = menu_->actions();
    const bool shown = !items.isEmpty() && items.front() == statusMenuItem_;
    if (!current) {
        dropStatusLine();
        return;
    }
    const QString description = describeTrack(*current->track());
    // A menu item reads "&" as the mark of its access key.
    statusMenuItem_->setText(QString(description).replace(QLatin1Char('&'), QStringLiteral("&&")));
    if (icon_) icon_->setToolTip(description);
    if (shown) return;
    // The separator goes in first, then the status line above it.
    menu_->insertAction(items.isEmpty() ? nullptr : items.front(), statusMenuItemSeparator_);
    menu_->insertAction(statusMenuItemSeparator_, statusMenuItem_);
}

void TrayIcon::dropStatusLine() {
    menu_->removeAction(statusMenuItem_);
    menu_->removeAction(statusMenuItemSeparator_);
    if (icon_) icon_->setToolTip(QStringLiteral("Sonvale"));
}

}  // namespace sonvale
