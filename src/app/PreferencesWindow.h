#pragma once

#include <QWidget>

#include <memory>

class QAction;
class QTabWidget;

namespace sonvale {

class FolderStorage;
class GeneralPane;
class LabelsPane;
class Library;
class LibraryFoldersModel;
class LibraryPane;
class Notifications;
class OperationQueue;
class PlaybackPane;
class Player;
class Preferences;

// The preferences window: the general, library, labels and playback panes as tabs. There is no OK or
// Cancel: each pane saves a change at once. Its geometry is kept in the settings
// store. Main thread only; everything it is given must outlive it.
class PreferencesWindow : public QWidget {
    Q_OBJECT
public:
    enum class Pane { General = 0, Library = 1, Labels = 2, Playback = 3 };

    struct Parts {
        Preferences& preferences;
        Notifications& notifications;
        Player& player;
        Library& library;
        LibraryFoldersModel& folders;
        std::shared_ptr<FolderStorage> folderStorage;
        OperationQueue& countQueue;  // where the library pane counts a folder's tracks
        QAction* alwaysOnTop;        // the View menu's action
    };

    explicit PreferencesWindow(const Parts& parts, QWidget* parent = nullptr);

    // Shows the window above the others with `pane` selected.
    void showPane(Pane pane);
    Pane currentPane() const;

    GeneralPane* general() const { return general_; }
    LibraryPane* library() const { return library_; }
    LabelsPane* labels() const { return labels_; }
    PlaybackPane* playback() const { return playback_; }

signals:
    // "timeRightTotal" changed.
    void timeDisplayChanged();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    GeneralPane* general_;
    LibraryPane* library_;
    LabelsPane* labels_;
    PlaybackPane* playback_;
    QTabWidget* tabs_;
    bool restored_ = false;
};

}  // namespace sonvale
