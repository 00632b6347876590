#pragma once

#include "KeyBinding.h"

#include <QWidget>

#include <memory>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace sonvale {

class Library;
class Player;
class Queues;
class SearchController;
class SearchEngine;

// The library search window: a search field, the results as paths below the library's shared
// folder (file names in bold), a status line with the number of results, a busy bar while a
// search runs, and Play and Enqueue buttons for the selected results. Double-clicking a result
// selects every result of its folder. Results are dragged out as files. With no library folder
// it shows an invitation to add one instead of the table. The logic is the SearchController's;
// this window renders it and hands the chosen files to the player. Keys: Down moves from the
// field into the results, Return plays the selection, Ctrl+Return enqueues it, Escape closes
// the window. Its geometry is kept in the settings store under "Search".
// Main thread only; player, library, engine and queues must outlive it.
class SearchBox : public QWidget {
    Q_OBJECT
public:
    enum Command { focusResults, playSelection, enqueueSelection, closeWindow };

    SearchBox(Player& player, std::shared_ptr<SearchEngine> engine, Library& library, Queues& queues,
              QWidget* parent = nullptr);
    ~SearchBox() override;

    // The keys this window reads, as the shortcuts window lists them.
    static const QList<KeyBinding>& keys();

    // Shows the window above the others with the field focused and its text selected.
    void present();
    void saveGeometryToSettings() const;

    SearchController* controller() const { return controller_; }
    QLineEdit* searchField() const { return searchField_; }
    QTableView* table() const { return table_; }
    QPushButton* playButton() const { return playButton_; }
    QPushButton* enqueueButton() const { return enqueueButton_; }
    QLabel* statusLabel() const { return statusLabel_; }
    QProgressBar* progress() const { return progress_; }
    QWidget* emptyOverlay() const { return emptyOverlay_; }

    // The selected results' paths, in row order.
    QStringList selectedPaths() const;
    // Selects every result in the folder of `row`'s file, in place of the selection.
    void selectFolderOf(int row);
    // Opens the selection in place of the playlist and plays it, or enqueues it.
    void openSelection(bool enqueue);

signals:
    // The invitation's button: the preferences, on their library pane.
    void libraryPreferencesRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeEmptyOverlay();
    QLayout* makeBottomRow();
    void connectController();
    void refreshButtons();
    void refreshPage();
    bool run(Command command);

    Player& player_;
    SearchController* controller_;
    QLineEdit* searchField_;
    QTableView* table_;
    QProgressBar* progress_;
    QLabel* statusLabel_;
    QPushButton* playButton_;
    QPushButton* enqueueButton_;
    QWidget* emptyOverlay_;
    QStackedWidget* stack_;
    // Between a double-click and its button's release, which would select the clicked row alone.
    bool doubleClicked_ = false;
};

}  // namespace sonvale
