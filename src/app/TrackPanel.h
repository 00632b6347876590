#pragma once

#include <QWidget>

class QLabel;
class QSlider;
class QToolButton;

namespace sonvale {

class CoverView;
class ElidedLabel;
class OperationQueue;
class Player;
class Preferences;
class SeekSlider;

// The top of the main window: the current track's cover and four labels, the transport
// buttons, the elapsed and remaining (or total) time, the seek and volume sliders and the
// playback-mode button. It renders the player's state and forwards the controls to the player;
// the owner calls the refresh functions when the state changes. A press on its empty background
// moves the window. Main thread only; the player, preferences and queue must outlive it.
class TrackPanel : public QWidget {
    Q_OBJECT
public:
    TrackPanel(Player& player, Preferences& preferences, OperationQueue& artworkQueue, QWidget* parent = nullptr);

    // The four labels, composed from the label templates, the current track and the playlist.
    void refreshLabels();
    // Time fields and seek slider from the engine's elapsed time.
    void refreshTime();
    // Play or pause glyph, and Previous and Next enabled where the playback mode can go.
    void refreshButtons();
    void refreshMode();
    void refreshIcons();

    CoverView* cover() const { return cover_; }
    ElidedLabel* leftLabel() const { return trackInfoLabel_; }
    ElidedLabel* rightLabel() const { return totalsLabel_; }
    QToolButton* playButton() const { return playButton_; }
    QToolButton* previousButton() const { return previousButton_; }
    QToolButton* nextButton() const { return nextButton_; }
    QToolButton* playbackModeButton() const { return playbackModeButton_; }
    QToolButton* timeRight() const { return timeRight_; }
    SeekSlider* seekSlider() const { return seekSlider_; }
    QSlider* volumeSlider() const { return volumeSlider_; }

signals:
    // Play was pressed with no current item: the owner picks what to start.
    void playRequestedWithoutCurrent();
    // Show Info of the title's context menu, offered while there is a current item.
    void showInfoRequested();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void build();
    void connectControls();
    QWidget* buildControls();

    Player& player_;
    Preferences& preferences_;
    CoverView* cover_;
    ElidedLabel* titleLabel_;
    ElidedLabel* subtitleLabel_;
    ElidedLabel* trackInfoLabel_;
    ElidedLabel* totalsLabel_;
    QToolButton* previousButton_;
    QToolButton* playButton_;
    QToolButton* nextButton_;
    QLabel* timeLeft_;
    QToolButton* timeRight_;
    SeekSlider* seekSlider_;
    QSlider* volumeSlider_;
    QToolButton* playbackModeButton_;
};

}  // namespace sonvale
