#include "AppActions.h"

#include "Notifications.h"
#include "Player.h"

#include <QAction>
#include <QActionGroup>
#include <QMenuBar>

namespace sonvale {

namespace {

QAction* makeAction(QObject* parent, const QString& text, const QKeySequence& shortcut = {},
                    const QString& tip = {}) {
    auto* action = new QAction(text, parent);
    action->setShortcut(shortcut);
    action->setShortcutContext(Qt::ApplicationShortcut);
    if (!tip.isEmpty()) action->setStatusTip(tip);
    action->setToolTip(tip.isEmpty() ? QString(text).remove(QLatin1Char('&')).remove(QStringLiteral("…")) : tip);
    return action;
}

const QKeySequence kSpace(Qt::Key_Space);

}  // namespace

PlaybackMode nextPlaybackMode(PlaybackMode mode) {
    return playbackModeFromRaw((static_cast<int>(mode) + 1) % int(allPlaybackModes.size())).value_or(PlaybackMode::Normal);
}

QString playbackModeTitle(PlaybackMode mode) {
    switch (mode) {
    case PlaybackMode::Normal: return AppActions::tr("Normal");
    case PlaybackMode::RepeatAll: return AppActions::tr("Repeat All");
    case PlaybackMode::RepeatOne: return AppActions::tr("Repeat One");
    case PlaybackMode::Shuffle: return AppActions::tr("Shuffle");
    case PlaybackMode::Single: return AppActions::tr("Single");
    }
    return {};
}

AppActions::AppActions(Player& player, Notifications& notifications, QObject* parent)
    : QObject(parent),
      open(makeAction(this, tr("&Open…"), QKeySequence::Open, tr("Open files, folders or playlists"))),
      exportPlaylist(makeAction(this, tr("&Export Playlist…"), QKeySequence(tr("Ctrl+S")), tr("Save the playlist as M3U"))),
      exportSelection(makeAction(this, tr("Export &Selection…"), QKeySequence(tr("Ctrl+Shift+S")),
                                 tr("Save the selected tracks as M3U"))),
      quit(makeAction(this, tr("&Quit"), QKeySequence::Quit, tr("Quit Sonvale"))),
      selectAll(makeAction(this, tr("Select &All"), QKeySequence::SelectAll, tr("Select every track of the playlist"))),
      copyTrackInfo(makeAction(this, tr("&Copy Track Info"), QKeySequence::Copy,
                               tr("Copy the selected tracks' information as text"))),
      find(makeAction(this, tr("&Find…"), QKeySequence::Find, tr("Search the library"))),
      clearPlaylist(makeAction(this, tr("C&lear Playlist"), QKeySequence(tr("Ctrl+Shift+Backspace")),
                               tr("Remove every track from the playlist"))),
      showInfo(makeAction(this, tr("Show &Info"), QKeySequence(tr("Ctrl+I")),
                          tr("Show the selected track's properties, tags, lyrics, chapters and artwork"))),
      preferences(makeAction(this, tr("&Preferences…"), QKeySequence(tr("Ctrl+,")), tr("Change Sonvale's settings"))),
      play(makeAction(this, tr("&Play"), kSpace, tr("Play"))),
      pause(makeAction(this, tr("P&ause"), {}, tr("Pause"))),
      playPause(makeAction(this, tr("Play/Pause"), {}, tr("Play or pause"))),
      previous(makeAction(this, tr("Pre&vious"), QKeySequence(tr("Alt+Left")), tr("Previous track"))),
      next(makeAction(this, tr("&Next"), QKeySequence(tr("Alt+Right")), tr("Next track"))),
      seekBackward(makeAction(this, tr("Seek &Backward"), QKeySequence(tr("Ctrl+Left")), tr("Back 15 seconds"))),
      seekForward(makeAction(this, tr("Seek &Forward"), QKeySequence(tr("Ctrl+Right")), tr("Forward 15 seconds"))),
      modes{},
      cycleMode(makeAction(this, tr("C&ycle Mode"), QKeySequence(tr("Ctrl+M")), tr("Switch to the next playback mode"))),
      scrollToCurrent(makeAction(this, tr("&Scroll to Current"), QKeySequence(tr("Ctrl+L")),
                                 tr("Select the current track and scroll to it"))),
      alwaysOnTop(makeAction(this, tr("Always on &Top"), QKeySequence(tr("Ctrl+T")), tr("Keep the window above others"))),
      keyboardShortcuts(makeAction(this, tr("&Keyboard Shortcuts"), QKeySequence(tr("Ctrl+/")), tr("List the shortcuts"))),
      about(makeAction(this, tr("&About Sonvale"), {}, tr("About Sonvale"))),
      player_(player),
      notifications_(notifications),
      modeGroup_(new QActionGroup(this)) {
    const std::array<QKeySequence, 5> modeKeys = {QKeySequence(tr("Ctrl+1")), QKeySequence(tr("Ctrl+2")),
                                                  QKeySequence(tr("Ctrl+3")), QKeySequence(tr("Ctrl+4")),
                                                  QKeySequence(tr("Ctrl+5"))};
    for (const PlaybackMode mode : allPlaybackModes) {
        const auto raw = static_cast<size_t>(mode);
        modes[raw] = makeAction(this, playbackModeTitle(mode), modeKeys[raw]);
        modes[raw]->setCheckable(true);
        modeGroup_->addAction(modes[raw]);
    }
    // Space and the playlist's selection commands belong to the main window: in another window
    // the focused control keeps them (Space ticks a box, Ctrl+A selects the field's text).
    for (QAction* action : {play, pause, selectAll, copyTrackInfo, showInfo, exportSelection, clearPlaylist}) {
        action->setShortcutContext(Qt::WindowShortcut);
    }
    quit->setMenuRole(QAction::QuitRole);
    preferences->setMenuRole(QAction::PreferencesRole);
    about->setMenuRole(QAction::AboutRole);
    alwaysOnTop->setCheckable(true);
    connectCommands();
}

void AppActions::connectCommands() {
    const auto post = [this](QAction* action, Notifications::Signal signal) {
        connect(action, &QAction::triggered, this, [this, signal] { notifications_.post(signal); });
    };
    post(open, &Notifications::openFiles);
    post(exportPlaylist, &Notifications::exportPlaylist);
    post(exportSelection, &Notifications::exportSelection);
    post(selectAll, &Notifications::selectAll);
    post(copyTrackInfo, &Notifications::copySelection);
    post(find, &Notifications::findFiles);
    post(scrollToCurrent, &Notifications::selectCurrent);
    connect(clearPlaylist, &QAction::triggered, this, [this] { player_.clearPlaylist(); });
    connect(play, &QAction::triggered, this, [this] { player_.play(); });
    connect(pause, &QAction::triggered, this, [this] { player_.pause(); });
    connect(playPause, &QAction::triggered, this, [this] { player_.togglePlayPause(); });
    connect(previous, &QAction::triggered, this, [this] { player_.playPrevious(); });
    connect(next, &QAction::triggered, this, [this] { player_.playNext(); });
    connect(seekBackward, &QAction::triggered, this, [this] { player_.seek(true, -15); });
    connect(seekForward, &QAction::triggered, this, [this] { player_.seek(true, 15); });
    for (const PlaybackMode mode : allPlaybackModes) {
        connect(modes[static_cast<size_t>(mode)], &QAction::triggered, this, [this, mode] { player_.setPlaybackMode(mode); });
    }
    connect(cycleMode, &QAction::triggered, this, [this] { player_.setPlaybackMode(nextPlaybackMode(player_.playbackMode())); });
}

void AppActions::fillMenuBar(QMenuBar* menuBar) const {
    QMenu* file = menuBar->addMenu(tr("&File"));
    file->addActions({open, exportPlaylist, exportSelection});
    file->addSeparator();
    file->addAction(quit);
    QMenu* edit = menuBar->addMenu(tr("&Edit"));
    edit->addActions({selectAll, copyTrackInfo, showInfo, find});
    edit->addSeparator();
    edit->addAction(clearPlaylist);
    edit->addSeparator();
    edit->addAction(preferences);
    QMenu* playback = menuBar->addMenu(tr("&Playback"));
    playback->addActions({play, pause, previous, next});
    playback->addSeparator();
    playback->addActions({seekBackward, seekForward});
    playback->addSeparator();
    for (QAction* mode : modes) playback->addAction(mode);
    playback->addAction(cycleMode);
    QMenu* view = menuBar->addMenu(tr("&View"));
    view->addActions({scrollToCurrent, alwaysOnTop});
    QMenu* help = menuBar->addMenu(tr("&Help"));
    help->addActions({keyboardShortcuts, about});
}

QList<QAction*> AppActions::all() const {
    QList<QAction*> actions = {open,         exportPlaylist, exportSelection, quit,     selectAll,
                               copyTrackInfo, showInfo,      find,            clearPlaylist,
                               preferences,  play,           pause,
                               previous,     next,           seekBackward,    seekForward};
    for (QAction* mode : modes) actions.append(mode);
    actions.append({cycleMode, scrollToCurrent, alwaysOnTop, keyboardShortcuts, about});
    return actions;
}

void AppActions::refreshTransport() {
    const bool playing = player_.isPlaying();
    play->setEnabled(!playing);
    pause->setEnabled(playing);
    seekForward->setEnabled(playing);
    seekBackward->setEnabled(playing);
    next->setEnabled(player_.hasNext());
    previous->setEnabled(player_.hasPrevious());
    // Clear first, so that the two items never hold the key at the same time.
    (playing ? play : pause)->setShortcut({});
    (playing ? pause : play)->setShortcut(kSpace);
    playPause->setText(playing ? tr("Pause") : tr("Play"));
}

void AppActions::refreshModeMarks() {
    for (const PlaybackMode mode : allPlaybackModes) {
        modes[static_cast<size_t>(mode)]->setChecked(mode == player_.playbackMode());
    }
}

void AppActions::enableSelectionCommands(int selectedRows) {
    exportSelection->setEnabled(selectedRows > 1);
    copyTrackInfo->setEnabled(selectedRows > 0);
    showInfo->setEnabled(selectedRows == 1);
}

}  // namespace sonvale
