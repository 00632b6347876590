#include "KeyMonitor.h"

#include "Player.h"
#include "Preferences.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

namespace sonvale {

KeyMonitor::KeyMonitor(QWidget& window, Player& player, const Preferences& preferences, Selection selection)
    : QObject(&window), window_(window), player_(player), preferences_(preferences), selection_(std::move(selection)) {
    qApp->installEventFilter(this);
}

KeyMonitor::~KeyMonitor() { qApp->removeEventFilter(this); }

const QList<KeyBinding>& KeyMonitor::playlistKeys() {
    static const QList<KeyBinding> keys = {
        {Qt::Key_Delete, remove, tr("Remove the selected tracks")},
        {Qt::Key_Backspace, remove, tr("Remove the selected tracks")},
        {Qt::Key_Return, playSelected, tr("Play the selected track")},
    };
    return keys;
}

const QList<KeyBinding>& KeyMonitor::winampKeys() {
    static const QList<KeyBinding> keys = {
        {Qt::Key_Z, previous, tr("Previous track")}, {Qt::Key_X, play, tr("Play")},
        {Qt::Key_C, pause, tr("Pause")},              {Qt::Key_V, stop, tr("Stop")},
        {Qt::Key_B, next, tr("Next track")},
    };
    return keys;
}

bool KeyMonitor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress || QApplication::activeWindow() != &window_) return false;
    // A key event travels up from the focus widget through its parents; read it once, where
    // it starts.
    QWidget* start = QApplication::focusWidget() ? QApplication::focusWidget() : &window_;
    if (watched != start) return false;
    return handle(*static_cast<QKeyEvent*>(event));
}

bool KeyMonitor::handle(const QKeyEvent& key) {
    std::optional<int> command = commandForKey(playlistKeys(), key);
    if (!command && preferences_.winampKeys) command = commandForKey(winampKeys(), key);
    return command && run(Command(*command));
}

bool KeyMonitor::run(Command command) {
    switch (command) {
    case remove: player_.removeItems(selection_()); return true;
    case playSelected: {
        const QList<PlaylistItemRef> selected = selection_();
        if (selected.size() != 1) return false;
        player_.playItem(selected.front(), false);
        return true;
    }
    case previous: player_.playPrevious(); return true;
    case play:
        if (!player_.isPlaying() && player_.current()) player_.playItem(player_.current(), false);
        return true;
    case pause:
        if (player_.isPlaying()) player_.pause();
        return true;
    case stop: player_.stop(); return true;
    case next: player_.playNext(); return true;
    }
    return false;
}

}  // namespace sonvale
