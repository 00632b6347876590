#include "EmptyPlaylistView.h"

#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonvale {

EmptyPlaylistView::EmptyPlaylistView(QWidget* parent) : QWidget(parent), openButton_(new QPushButton(tr("Open…"), this)) {
    setAccessibleName(tr("Empty playlist"));
    auto* heading = new QLabel(tr("Drop music here"), this);
    QFont font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.5);
    font.setBold(true);
    heading->setFont(font);
    heading->setAlignment(Qt::AlignCenter);
    auto* hint = new QLabel(tr("Files, folders and M3U playlists from your file manager,\nor open them here."), this);
    hint->setAlignment(Qt::AlignCenter);
    hint->setForegroundRole(QPalette::PlaceholderText);
    openButton_->setToolTip(tr("Open files, folders or playlists"));
    openButton_->setAccessibleName(tr("Open files, folders or playlists"));
    connect(openButton_, &QPushButton::clicked, this, &EmptyPlaylistView::openRequested);
    auto* layout = new QVBoxLayout(this);
    layout->addStretch();
    layout->addWidget(heading);
    layout->addWidget(hint);
    layout->addSpacing(8);
    layout->addWidget(openButton_, 0, Qt::AlignHCenter);
    layout->addStretch();
}

void EmptyPlaylistView::setDragActive(bool active) {
    if (active == dragActive_) return;
    dragActive_ = active;
    update();
}

void EmptyPlaylistView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = palette().color(dragActive_ ? QPalette::Highlight : QPalette::Mid);
    QPen pen(color, dragActive_ ? 3 : 2, Qt::DashLine);
    painter.setPen(pen);
    painter.setBrush(dragActive_ ? QBrush(QColor(color.red(), color.green(), color.blue(), 28)) : QBrush(Qt::NoBrush));
    painter.drawRoundedRect(QRectF(rect()).adjusted(16, 16, -16, -16), 14, 14);
}

}  // namespace sonvale
