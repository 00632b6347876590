#include "NoteLabel.h"

#include <QLabel>

namespace sonvale {

QLabel* makeNoteLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

}  // namespace sonvale
