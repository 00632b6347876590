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

bool KeyMonitor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress || QApplication::activeWindow() != &window_) return false;
    // A key event travels up from the focus widget through its parents; read it once, where
    // it starts.
    QWidget* start = QApplication::focusWidget() ? QApplication::focusWidget() : &window_;
    if (watched != start) return false;
    return handle(*static_cast<QKeyEvent*>(event));
}

bool KeyMonitor::handle(const QKeyEvent& key) {
    const Qt::KeyboardModifiers commandLike = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    const bool command = (key.modifiers() & commandLike) != 0;
    switch (key.key()) {
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (command) return false;
        player_.removeItems(selection_());
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter: {
        if (command) return false;
        const QList<PlaylistItemRef> selected = selection_();
        if (selected.size() != 1) return false;
        player_.playItem(selected.front(), false);
        return true;
    }
    default: break;
    }
    if (!preferences_.winampKeys || command || key.text().isEmpty()) return false;
    return winampKey(key.text().front().toLower());
}

bool KeyMonitor::winampKey(QChar key) {
    switch (key.unicode()) {
    case 'z': player_.playPrevious(); return true;
    case 'x':
        if (!player_.isPlaying() && player_.current()) player_.playItem(player_.current(), false);
        return true;
    case 'c':
        if (player_.isPlaying()) player_.pause();
        return true;
    case 'v': player_.stop(); return true;
    case 'b': player_.playNext(); return true;
    default: return false;
    }
}

}  // namespace sonvale
