#include "PlaybackPane.h"

#include "NoteLabel.h"
#include "Notifications.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace sonvale {

PlaybackPane::PlaybackPane(Preferences& preferences, Notifications& notifications, QWidget* parent)
    : QWidget(parent),
      preferences_(preferences),
      notifications_(notifications),
      mode_(new QComboBox(this)),
      preamp_(new QDoubleSpinBox(this)),
      preventClipping_(new QCheckBox(tr("Lower the gain where the loudest sample would clip"), this)) {
    mode_->addItem(tr("Off"), int(ReplayGainMode::Off));
    mode_->addItem(tr("Track gain"), int(ReplayGainMode::Track));
    mode_->addItem(tr("Album gain"), int(ReplayGainMode::Album));
    mode_->setAccessibleName(tr("ReplayGain"));
    preamp_->setRange(ReplayGainSettings::kMinPreamp, ReplayGainSettings::kMaxPreamp);
    preamp_->setSingleStep(kPreampStep);
    preamp_->setDecimals(1);
    preamp_->setSuffix(tr(" dB"));
    // Typing saves once, on Enter or when the field loses focus, not at every key.
    preamp_->setKeyboardTracking(false);
    preamp_->setAccessibleName(tr("Preamp"));

    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("ReplayGain:"), mode_);
    form->addRow(QString(), makeNoteLabel(tr("Plays each file at the loudness its ReplayGain tags give."), this));
    form->addRow(QString(), makeNoteLabel(tr("Album gain keeps the differences between an album's tracks."), this));
    const QString fallback = tr("Files without an album gain get their track gain; files without tags play as they are.");
    form->addRow(QString(), makeNoteLabel(fallback, this));
    form->addRow(tr("Preamp:"), preamp_);
    form->addRow(QString(), makeNoteLabel(tr("Added to the gain of files that have one."), this));
    form->addRow(tr("Clipping:"), preventClipping_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addStretch();

    refresh();
    connectControls();
}

void PlaybackPane::refresh() {
    const QSignalBlocker a(mode_), b(preamp_), c(preventClipping_);
    const ReplayGainSettings& settings = preferences_.replayGain;
    mode_->setCurrentIndex(mode_->findData(int(settings.mode)));
    preamp_->setValue(settings.preamp);
    preventClipping_->setChecked(settings.preventClipping);
    enableDetails();
}

void PlaybackPane::connectControls() {
    connect(mode_, &QComboBox::currentIndexChanged, this, [this] {
        const auto mode = replayGainModeFromRaw(mode_->currentData().toInt());
        preferences_.replayGain.mode = mode.value_or(ReplayGainMode::Off);
        enableDetails();
        save();
    });
    connect(preamp_, &QDoubleSpinBox::valueChanged, this, [this](double value) {
        preferences_.replayGain.preamp = float(value);
        save();
    });
    connect(preventClipping_, &QCheckBox::toggled, this, [this](bool on) {
        preferences_.replayGain.preventClipping = on;
        save();
    });
}

void PlaybackPane::enableDetails() {
    const bool on = preferences_.replayGain.mode != ReplayGainMode::Off;
    preamp_->setEnabled(on);
    preventClipping_->setEnabled(on);
}

void PlaybackPane::save() {
    preferences_.save();
    notifications_.post(&Notifications::replayGainChanged);
}

}  // namespace sonvale
