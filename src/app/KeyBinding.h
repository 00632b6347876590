#pragma once

#include <QKeyCombination>
#include <QKeySequence>
#include <QList>
#include <QString>

#include <optional>

class QKeyEvent;

namespace sonvale {

// One key a window reads itself (not through an action), with the command it stands for and
// what the shortcuts window says about it. A window keeps one list of these and both reads its
// keys through it and shows it, so the two cannot drift apart.
struct KeyBinding {
    QKeyCombination key;
    int command;          // the window's own command number
    QString description;  // "Play the selection"

    QKeySequence sequence() const { return QKeySequence(key); }
};

// The command of the first binding for `event`'s key. Enter on the keypad counts as Return and
// Shift is ignored; Ctrl, Alt and Meta must be exactly those of the binding.
std::optional<int> commandForKey(const QList<KeyBinding>& bindings, const QKeyEvent& event);

}  // namespace sonvale
