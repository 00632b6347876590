#pragma once

#include <QSlider>

#include <functional>

namespace sonvale {

// The position slider of the current track, in tenths of a second. While the user holds the
// knob the periodic refresh leaves it alone (`dragging`); releasing it runs `onDragEnded` with
// the position chosen, and a click anywhere on the groove jumps there and seeks at once.
class SeekSlider : public QSlider {
    Q_OBJECT
public:
    explicit SeekSlider(QWidget* parent = nullptr);

    // Called with the chosen position in seconds when the user lets go of the knob or clicks.
    std::function<void(double seconds)> onDragEnded;
    bool dragging() const { return isSliderDown(); }

    // Shows `elapsed` of `duration` seconds unless the user holds the knob.
    void showPosition(double elapsed, double duration);

protected:
    void mousePressEvent(QMouseEvent* event) override;
};

}  // namespace sonvale
