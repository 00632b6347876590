#include "CoverView.h"

#include "Icons.h"
#include "OperationQueue.h"

#include <QApplication>
#include <QEvent>
#include <QImage>
#include <QPointer>

namespace sonvale {

CoverView::CoverView(OperationQueue& queue, int side, QWidget* parent)
    : QLabel(parent), queue_(queue), side_(side) {
    setFixedSize(side, side);
    setAlignment(Qt::AlignCenter);
    setAccessibleName(tr("Cover art"));
    showDefault();
}

void CoverView::showArtwork(const QByteArray& bytes) {
    const quint64 generation = ++generation_;
    if (bytes.isEmpty()) {
        showDefault();
        return;
    }
    // Scaled for the screen's density, so a sharp screen gets a sharp cover.
    const int pixels = int(side_ * devicePixelRatioF());
    const QPointer<CoverView> guard(this);
    queue_.addOperation([guard, bytes, pixels, generation](const auto&) {
        QImage image = QImage::fromData(bytes);
        if (!image.isNull()) image = image.scaled(pixels, pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        QMetaObject::invokeMethod(qApp, [guard, image, generation] {
            if (!guard || guard->generation_ != generation) return;
            if (image.isNull()) {
                guard->showDefault();
                return;
            }
            QPixmap pixmap = QPixmap::fromImage(image);
            pixmap.setDevicePixelRatio(guard->devicePixelRatioF());
            guard->setPixmap(pixmap);
            guard->hasArtwork_ = true;
        }, Qt::QueuedConnection);
    });
}

void CoverView::showDefault() {
    hasArtwork_ = false;
    const QPalette& p = palette();
    setPixmap(Icons::defaultCover(side_, p.color(QPalette::Button), p.color(QPalette::Mid)));
}

void CoverView::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !hasArtwork_) showDefault();
}

}  // namespace sonvale
