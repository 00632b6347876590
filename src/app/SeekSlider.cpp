#include "SeekSlider.h"

#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionSlider>

#include <cmath>

namespace sonvale {

SeekSlider::SeekSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    setRange(0, 0);
    setFocusPolicy(Qt::StrongFocus);
    setSingleStep(50);
    setPageStep(150);
    connect(this, &QSlider::sliderReleased, this, [this] {
        if (onDragEnded) onDragEnded(value() / 10.0);
    });
    // Keys move the knob without holding it; each step seeks.
    connect(this, &QSlider::actionTriggered, this, [this](int action) {
        if (isSliderDown() || action == SliderMove || action == SliderNoAction) return;
        QMetaObject::invokeMethod(this, [this] { if (onDragEnded) onDragEnded(value() / 10.0); }, Qt::QueuedConnection);
    });
}

void SeekSlider::showPosition(double elapsed, double duration) {
    if (dragging()) return;
    const QSignalBlocker block(this);
    setMaximum(std::max(0, int(std::lround(duration * 10))));
    setValue(int(std::lround(std::clamp(elapsed, 0.0, std::max(duration, 0.0)) * 10)));
}

void SeekSlider::mousePressEvent(QMouseEvent* event) {
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect handle = style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
    if (event->button() != Qt::LeftButton || handle.contains(event->position().toPoint()) || maximum() <= 0) {
        QSlider::mousePressEvent(event);
        return;
    }
    // A click on the groove jumps there instead of paging towards it.
    const QRect groove = style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, this);
    const int span = groove.width() - handle.width();
    const int x = int(event->position().x()) - groove.x() - handle.width() / 2;
    setValue(QStyle::sliderValueFromPosition(minimum(), maximum(), x, std::max(span, 1)));
    event->accept();
    if (onDragEnded) onDragEnded(value() / 10.0);
}

}  // namespace sonvale
