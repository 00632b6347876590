#include "ElidedLabel.h"

#include <QEvent>

namespace sonvale {

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    setTextFormat(Qt::PlainText);
}

void ElidedLabel::setFullText(const QString& text) {
    if (text == fullText_) return;
    fullText_ = text;
    setAccessibleName(text);
    elide();
}

QSize ElidedLabel::minimumSizeHint() const { return {0, QLabel::minimumSizeHint().height()}; }

void ElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    elide();
}

void ElidedLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::FontChange) elide();
}

void ElidedLabel::elide() {
    const QString shown = fontMetrics().elidedText(fullText_, Qt::ElideRight, std::max(width(), 1));
    setText(shown);
    setToolTip(shown == fullText_ ? QString() : fullText_);
}

}  // namespace sonvale
