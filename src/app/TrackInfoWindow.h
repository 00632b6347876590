#pragma once

#include "TrackInfoLoader.h"

#include <QTimer>
#include <QWidget>

#include <array>
#include <optional>

class QLabel;
class QPlainTextEdit;
class QStackedWidget;
class QTabWidget;
class QTableWidget;

namespace sonvale {

class OperationQueue;
class Player;

// The track information window: a file's properties (path, format, duration, bit rate, sample
// rate, channels, size, modification date), its tags, lyrics, chapters and artwork at full
// size. It reads the file afresh with the library's readers on `queue` (never on the main
// thread) and shows the latest request only; a file that has gone away is said to be gone. One
// window is reused for every request. While the file is the one playing, the current chapter is
// marked, and a double-click on a chapter seeks there. Main thread only; the player and the
// queue must outlive the window.
class TrackInfoWindow : public QWidget {
    Q_OBJECT
public:
    enum Field { Path, Format, Duration, BitRate, SampleRate, Channels, Size, Modified,
                 Title, Artist, Album, TrackNumber, Genre, FieldCount };

    TrackInfoWindow(Player& player, OperationQueue& queue, QWidget* parent = nullptr);

    // Shows the window and reads `path` into it.
    void showTrack(const QString& path);

    // What is shown; none until the first file is read.
    const std::optional<TrackDetails>& details() const { return details_; }
    QString fieldText(Field field) const;
    QTableWidget* chapters() const { return chapters_; }
    QPlainTextEdit* lyrics() const { return lyrics_; }
    QLabel* artwork() const { return artwork_; }
    QLabel* missingMessage() const { return missing_; }
    // The row of the chapter playing now; -1 when the file is not playing or between chapters.
    int currentChapter() const { return currentChapter_; }

signals:
    // The details of a file are on screen.
    void shown();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* buildProperties();
    QWidget* buildArtwork();
    void present(const TrackDetails& details);
    void fillChapters(const QList<Chapter>& chapters);
    bool showsCurrentTrack() const;
    // Marks the chapter at the player's elapsed time.
    void refreshCurrentChapter();

    Player& player_;
    TrackInfoLoader loader_;
    std::optional<TrackDetails> details_;
    QLabel* heading_;
    QLabel* thumbnail_;
    QStackedWidget* stack_;
    QTabWidget* tabs_;
    QLabel* missing_;
    std::array<QLabel*, FieldCount> fields_{};
    QPlainTextEdit* lyrics_;
    QTableWidget* chapters_;
    QLabel* artwork_;
    QLabel* artworkSize_;
    QTimer refreshTimer_;
    int currentChapter_ = -1;
};

}  // namespace sonvale
