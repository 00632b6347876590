#include "KeyBinding.h"

#include <QKeyEvent>

namespace sonvale {

std::optional<int> commandForKey(const QList<KeyBinding>& bindings, const QKeyEvent& event) {
    const Qt::KeyboardModifiers commandLike = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    const Qt::Key key = event.key() == Qt::Key_Enter ? Qt::Key_Return : Qt::Key(event.key());
    const Qt::KeyboardModifiers modifiers = event.modifiers() & commandLike;
    for (const KeyBinding& binding : bindings) {
        if (binding.key.key() == key && (binding.key.keyboardModifiers() & commandLike) == modifiers) return binding.command;
    }
    return std::nullopt;
}

}  // namespace sonvale
