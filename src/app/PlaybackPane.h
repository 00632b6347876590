#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;

namespace sonvale {

class Notifications;
class Preferences;

// The preferences' playback pane: the ReplayGain mode (off, track, album), the preamp in dB and
// whether a file's peak limits its gain. Every change is saved at once and announced
// ("replayGainChanged"); the player reads the preferences whenever it opens a file. Main thread
// only; the preferences and notifications must outlive the pane.
class PlaybackPane : public QWidget {
    Q_OBJECT
public:
    static constexpr double kPreampStep = 0.5;

    PlaybackPane(Preferences& preferences, Notifications& notifications, QWidget* parent = nullptr);

    // Shows the preferences' values again.
    void refresh();

    QComboBox* mode() const { return mode_; }
    QDoubleSpinBox* preamp() const { return preamp_; }
    QCheckBox* preventClipping() const { return preventClipping_; }

private:
    void connectControls();
    // The preamp and clipping only matter with a mode on.
    void enableDetails();
    void save();

    Preferences& preferences_;
    Notifications& notifications_;
    QComboBox* mode_;
    QDoubleSpinBox* preamp_;
    QCheckBox* preventClipping_;
};

}  // namespace sonvale
