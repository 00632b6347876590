#include "GeneralPane.h"

#include "Appearance.h"
#include "NoteLabel.h"
#include "Notifications.h"
#include "Preferences.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace sonvale {

GeneralPane::GeneralPane(Preferences& preferences, Notifications& notifications, QAction* alwaysOnTop, QWidget* parent)
    : QWidget(parent),
      preferences_(preferences),
      notifications_(notifications),
      alwaysOnTopAction_(alwaysOnTop),
      appearance_(new QComboBox(this)),
      alwaysEnqueue_(new QCheckBox(tr("Add opened and dropped files to the end of the playlist"), this)),
      alwaysOnTop_(new QCheckBox(tr("Keep the main window above other windows"), this)),
      winampKeys_(new QCheckBox(tr("Single-key transport: z x c v b for previous, play, pause, stop, next"), this)),
      timeRightTotal_(new QCheckBox(tr("Show the total time of the track instead of the time remaining"), this)),
      absolutePaths_(new QCheckBox(tr("Write absolute paths into exported playlists"), this)) {
    appearance_->addItem(tr("System"), int(Appearance::System));
    appearance_->addItem(tr("Dark"), int(Appearance::Dark));
    appearance_->addItem(tr("Light"), int(Appearance::Light));
    appearance_->setAccessibleName(tr("Appearance"));

    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("Appearance:"), appearance_);
    form->addRow(tr("Playlist:"), alwaysEnqueue_);
    form->addRow(QString(), makeNoteLabel(tr("Otherwise they replace the playlist and start playing."), this));
    form->addRow(tr("Window:"), alwaysOnTop_);
    form->addRow(tr("Keys:"), winampKeys_);
    form->addRow(QString(), makeNoteLabel(tr("In the main window, without Ctrl, Alt or Meta."), this));
    form->addRow(tr("Time:"), timeRightTotal_);
    form->addRow(tr("Export:"), absolutePaths_);
    form->addRow(QString(), makeNoteLabel(tr("Otherwise paths are written relative to the playlist's folder."), this));
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addStretch();

    refresh();
    connectControls();
}

void GeneralPane::refresh() {
    const QSignalBlocker a(appearance_), b(alwaysEnqueue_), c(alwaysOnTop_), d(winampKeys_), e(timeRightTotal_),
        f(absolutePaths_);
    appearance_->setCurrentIndex(appearance_->findData(int(preferences_.appearance)));
    alwaysEnqueue_->setChecked(preferences_.alwaysEnqueue);
    alwaysOnTop_->setChecked(preferences_.alwaysOnTop);
    winampKeys_->setChecked(preferences_.winampKeys);
    timeRightTotal_->setChecked(preferences_.timeRightTotal);
    absolutePaths_->setChecked(preferences_.useAbsolutePathsForPlaylists);
}

void GeneralPane::connectControls() {
    connect(appearance_, &QComboBox::currentIndexChanged, this, [this] {
        preferences_.appearance = Appearance(appearance_->currentData().toInt());
        preferences_.save();
        AppearanceStyle::apply(preferences_.appearance);
    });
    toggle(alwaysEnqueue_, &Preferences::alwaysEnqueue);
    toggle(winampKeys_, &Preferences::winampKeys, [this] { notifications_.post(&Notifications::winampKeysChanged); });
    toggle(timeRightTotal_, &Preferences::timeRightTotal, [this] { emit timeDisplayChanged(); });
    toggle(absolutePaths_, &Preferences::useAbsolutePathsForPlaylists);
    // The action saves the preference and moves the window; its state comes back here.
    connect(alwaysOnTop_, &QCheckBox::toggled, alwaysOnTopAction_, &QAction::setChecked);
    connect(alwaysOnTopAction_, &QAction::toggled, alwaysOnTop_, [this](bool on) {
        const QSignalBlocker block(alwaysOnTop_);
        alwaysOnTop_->setChecked(on);
    });
}

void GeneralPane::toggle(QCheckBox* box, bool Preferences::*field, const std::function<void()>& then) {
    connect(box, &QCheckBox::toggled, this, [this, field, then](bool on) {
        preferences_.*field = on;
        preferences_.save();
        if (then) then();
    });
}

}  // namespace sonvale
