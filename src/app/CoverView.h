#pragma once

#include <QLabel>
#include <QPixmap>

namespace sonvale {

class OperationQueue;

// The cover of the current track. Pictures are decoded and scaled on `queue` (a large PNG takes
// longer than a frame to decode), so the main thread only swaps a ready pixmap in; a picture that
// arrives after a newer one was asked for is dropped. Without a picture, or with one that does
// not decode, the default cover shows. Main thread only; `queue` must outlive the view.
class CoverView : public QLabel {
    Q_OBJECT
public:
    CoverView(OperationQueue& queue, int side, QWidget* parent = nullptr);

    // Shows the picture in `bytes` (any format Qt reads), or the default cover when empty.
    void showArtwork(const QByteArray& bytes);
protected:
    void changeEvent(QEvent* event) override;

private:
    void showDefault();

    OperationQueue& queue_;
    const int side_;
    quint64 generation_ = 0;
    bool hasArtwork_ = false;
};

}  // namespace sonvale
