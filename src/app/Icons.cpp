#include "Icons.h"

#include <QPainter>
#include <QPainterPath>

#include <functional>

namespace sonvale::Icons {

namespace {

using Draw = std::function<void(QPainter&)>;

// Draws on a 24-unit square, scaled to each pixmap size.
QIcon drawn(const QColor& color, const Draw& draw) {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 24.0, size / 24.0);
        painter.setPen(QPen(color, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(color);
        draw(painter);
        icon.addPixmap(pixmap);
    }
    return icon;
}

void triangle(QPainter& p, qreal left, qreal right) {
    QPainterPath path;
    path.moveTo(left, 5);
    path.lineTo(right, 12);
    path.lineTo(left, 19);
    path.closeSubpath();
    p.drawPath(path);
}

// An arrow along a loop, the sign of repetition.
void loop(QPainter& p) {
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(4, 5, 16, 14), 30 * 16, 300 * 16);
    p.setBrush(p.pen().color());
    QPainterPath head;
    head.moveTo(16.5, 3.5);
    head.lineTo(21.5, 6.5);
    head.lineTo(16, 9.5);
    head.closeSubpath();
    p.drawPath(head);
}

void digitOne(QPainter& p, qreal x, qreal y, qreal height) {
    p.setBrush(Qt::NoBrush);
    p.drawLine(QPointF(x, y), QPointF(x, y + height));
    p.drawLine(QPointF(x - 2, y + 2), QPointF(x, y));
}

}  // namespace

QIcon glyph(Glyph glyph, const QColor& color) {
    switch (glyph) {
    case Glyph::Play: return drawn(color, [](QPainter& p) { triangle(p, 7, 19); });
    case Glyph::Pause:
        return drawn(color, [](QPainter& p) {
            p.drawRect(QRectF(7, 5, 3, 14));
            p.drawRect(QRectF(14, 5, 3, 14));
        });
    case Glyph::Previous:
        return drawn(color, [](QPainter& p) {
            p.drawRect(QRectF(4, 6, 1.5, 12));
            QPainterPath path;
            path.moveTo(19, 6);
            path.lineTo(8, 12);
            path.lineTo(19, 18);
            path.closeSubpath();
            p.drawPath(path);
        });
    case Glyph::Next:
        return drawn(color, [](QPainter& p) {
            triangle(p, 5, 16);
            p.drawRect(QRectF(18.5, 6, 1.5, 12));
        });
    }
    return {};
}

QIcon playbackMode(PlaybackMode mode, const QColor& color) {
    switch (mode) {
    case PlaybackMode::Normal:
        return drawn(color, [](QPainter& p) {
            p.drawLine(QPointF(3, 12), QPointF(18, 12));
            QPainterPath head;
            head.moveTo(16, 7);
            head.lineTo(21.5, 12);
            head.lineTo(16, 17);
            head.closeSubpath();
            p.drawPath(head);
        });
    case PlaybackMode::RepeatAll: return drawn(color, loop);
    case PlaybackMode::RepeatOne:
        return drawn(color, [](QPainter& p) {
            loop(p);
            QPen thin = p.pen();
            thin.setWidthF(1.6);
            p.setPen(thin);
            digitOne(p, 12, 8.5, 7);
        });
    case PlaybackMode::Shuffle:
        return drawn(color, [](QPainter& p) {
            p.setBrush(Qt::NoBrush);
            QPainterPath a;
            a.moveTo(3, 7);
            a.cubicTo(10, 7, 12, 17, 19, 17);
            QPainterPath b;
            b.moveTo(3, 17);
            b.cubicTo(10, 17, 12, 7, 19, 7);
            p.drawPath(a);
            p.drawPath(b);
            p.setBrush(p.pen().color());
            for (const qreal y : {7.0, 17.0}) {
                QPainterPath head;
                head.moveTo(18, y - 3.5);
                head.lineTo(22, y);
                head.lineTo(18, y + 3.5);
                head.closeSubpath();
                p.drawPath(head);
            }
        });
    case PlaybackMode::Single:
        return drawn(color, [](QPainter& p) {
            digitOne(p, 9, 5, 14);
            p.drawLine(QPointF(14, 19), QPointF(20, 19));
            triangle(p, 14, 20.5);
        });
    }
    return {};
}

QPixmap defaultCover(int size, const QColor& background, const QColor& foreground) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(background);
    p.drawRoundedRect(QRectF(0, 0, size, size), size * 0.08, size * 0.08);
    // A quaver: two note heads joined by a beam.
    p.scale(size / 24.0, size / 24.0);
    p.setBrush(foreground);
    p.drawEllipse(QRectF(5.5, 14.5, 5, 4));
    p.drawEllipse(QRectF(13.5, 12.5, 5, 4));
    p.setPen(QPen(foreground, 1.3));
    p.drawLine(QPointF(10.3, 16.5), QPointF(10.3, 6.5));
    p.drawLine(QPointF(18.3, 14.5), QPointF(18.3, 4.5));
    p.setPen(QPen(foreground, 2.2));
    p.drawLine(QPointF(10.3, 6.5), QPointF(18.3, 4.5));
    return pixmap;
}

}  // namespace sonvale::Icons
