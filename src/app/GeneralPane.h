#pragma once

#include <QWidget>

#include <functional>

class QAction;
class QCheckBox;
class QComboBox;

namespace sonvale {

class Notifications;
class Preferences;

// The preferences' general pane: appearance, always enqueue, always on top, the single-key
// transport keys, remaining or total time, absolute paths in exported playlists. Every change is
// saved at once and announced where a window reacts to it. Always on top goes through the View
// menu's action (`alwaysOnTop`), so the two stay in step. Main thread only; the preferences,
// notifications and action must outlive the pane.
class GeneralPane : public QWidget {
    Q_OBJECT
public:
    GeneralPane(Preferences& preferences, Notifications& notifications, QAction* alwaysOnTop,
                QWidget* parent = nullptr);

    // Shows the preferences' values again (they may have changed elsewhere).
    void refresh();

    QComboBox* appearance() const { return appearance_; }
    QCheckBox* alwaysEnqueue() const { return alwaysEnqueue_; }
    QCheckBox* alwaysOnTop() const { return alwaysOnTop_; }
    QCheckBox* winampKeys() const { return winampKeys_; }
    QCheckBox* timeRightTotal() const { return timeRightTotal_; }
    QCheckBox* absolutePaths() const { return absolutePaths_; }

signals:
    // "timeRightTotal" changed: the time display shows the other time.
    void timeDisplayChanged();

private:
    void connectControls();
    // Sets the preference, saves, and runs `then`.
    void toggle(QCheckBox* box, bool Preferences::*field, const std::function<void()>& then = {});

    Preferences& preferences_;
    Notifications& notifications_;
    QAction* alwaysOnTopAction_;
    QComboBox* appearance_;
    QCheckBox* alwaysEnqueue_;
    QCheckBox* alwaysOnTop_;
    QCheckBox* winampKeys_;
    QCheckBox* timeRightTotal_;
    QCheckBox* absolutePaths_;
};

}  // namespace sonvale
