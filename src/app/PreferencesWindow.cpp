#include "PreferencesWindow.h"

#include "GeneralPane.h"
#include "LabelsPane.h"
#include "LibraryPane.h"
#include "PlaybackPane.h"

#include <QSettings>
#include <QShortcut>
#include <QTabWidget>
#include <QVBoxLayout>

namespace sonvale {

namespace {

const QString kGeometryKey = QStringLiteral("PreferencesWindow/geometry");

}  // namespace

PreferencesWindow::PreferencesWindow(const Parts& parts, QWidget* parent)
    : QWidget(parent, Qt::Window),
      general_(new GeneralPane(parts.preferences, parts.notifications, parts.alwaysOnTop, this)),
      library_(new LibraryPane(parts.library, parts.folders, parts.folderStorage, parts.countQueue, this)),
      labels_(new LabelsPane(parts.preferences, parts.notifications, parts.player, this)),
      playback_(new PlaybackPane(parts.preferences, parts.notifications, this)),
      tabs_(new QTabWidget(this)) {
    setObjectName(QStringLiteral("PreferencesWindow"));
    setWindowTitle(tr("Sonvale Preferences"));
    tabs_->addTab(general_, tr("General"));
    tabs_->addTab(library_, tr("Library"));
    tabs_->addTab(labels_, tr("Labels"));
    tabs_->addTab(playback_, tr("Playback"));
    tabs_->setDocumentMode(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(tabs_);
    resize(680, 600);
    setMinimumSize(480, 360);
    connect(general_, &GeneralPane::timeDisplayChanged, this, &PreferencesWindow::timeDisplayChanged);
    // Escape closes it, as it would a dialog.
    connect(new QShortcut(QKeySequence::Cancel, this), &QShortcut::activated, this, &QWidget::close);
}

void PreferencesWindow::showPane(Pane pane) {
    tabs_->setCurrentIndex(int(pane));
    general_->refresh();
    labels_->refresh();
    playback_->refresh();
    show();
    raise();
    activateWindow();
}

PreferencesWindow::Pane PreferencesWindow::currentPane() const { return Pane(tabs_->currentIndex()); }

void PreferencesWindow::showEvent(QShowEvent* event) {
    if (!restored_) {
        restored_ = true;
        const QSettings settings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale"));
        restoreGeometry(settings.value(kGeometryKey).toByteArray());
    }
    QWidget::showEvent(event);
}

void PreferencesWindow::hideEvent(QHideEvent* event) {
    QSettings settings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale"));
    settings.setValue(kGeometryKey, saveGeometry());
    QWidget::hideEvent(event);
}

}  // namespace sonvale
