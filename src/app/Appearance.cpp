#include "Appearance.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

namespace sonvale::AppearanceStyle {

namespace {

struct SystemLook {
    QString styleName;
    QPalette palette;
};

// What the desktop gave the application, taken before the first change.
const SystemLook& systemLook() {
    static const SystemLook look{QApplication::style()->name(), QApplication::palette()};
    return look;
}

QPalette darkPalette() {
    QPalette p;
    const QColor window(0x2b, 0x2b, 0x2e), base(0x1f, 0x1f, 0x22), text(0xe8, 0xe8, 0xea);
    const QColor highlight(0x3d, 0x7e, 0xd6);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, QColor(0x27, 0x27, 0x2a));
    p.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3e));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x8a, 0x90));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(0x35, 0x35, 0x39));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, QColor(0xff, 0x6b, 0x6b));
    p.setColor(QPalette::Light, QColor(0x45, 0x45, 0x4a));
    p.setColor(QPalette::Midlight, QColor(0x3a, 0x3a, 0x3e));
    p.setColor(QPalette::Mid, QColor(0x25, 0x25, 0x28));
    p.setColor(QPalette::Dark, QColor(0x18, 0x18, 0x1a));
    p.setColor(QPalette::Shadow, QColor(0x0a, 0x0a, 0x0b));
    p.setColor(QPalette::Highlight, highlight);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0x6c, 0xa8, 0xf0));
    p.setColor(QPalette::LinkVisited, QColor(0xa9, 0x8c, 0xf0));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, QColor(0x78, 0x78, 0x7e));
    }
    p.setColor(QPalette::Disabled, QPalette::Highlight, QColor(0x45, 0x45, 0x4a));
    return p;
}

QPalette lightPalette() {
    QPalette p;
    const QColor window(0xf3, 0xf3, 0xf5), text(0x1d, 0x1d, 0x1f);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::AlternateBase, QColor(0xf6, 0xf6, 0xf8));
    p.setColor(QPalette::ToolTipBase, QColor(0xff, 0xff, 0xf0));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x8a, 0x90));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(0xe9, 0xe9, 0xec));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, QColor(0xc0, 0x1c, 0x28));
    p.setColor(QPalette::Light, Qt::white);
    p.setColor(QPalette::Midlight, QColor(0xe3, 0xe3, 0xe6));
    p.setColor(QPalette::Mid, QColor(0xb8, 0xb8, 0xbe));
    p.setColor(QPalette::Dark, QColor(0x9a, 0x9a, 0xa0));
    p.setColor(QPalette::Shadow, QColor(0x60, 0x60, 0x66));
    p.setColor(QPalette::Highlight, QColor(0x30, 0x74, 0xd0));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0x1a, 0x5f, 0xb4));
    p.setColor(QPalette::LinkVisited, QColor(0x61, 0x35, 0x83));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, QColor(0xa0, 0xa0, 0xa6));
    }
    return p;
}

}  // namespace

void apply(Appearance appearance) {
    const SystemLook& system = systemLook();
    if (appearance == Appearance::System) {
        QApplication::setStyle(QStyleFactory::create(system.styleName));
        QApplication::setPalette(system.palette);
        return;
    }
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(appearance == Appearance::Dark ? darkPalette() : lightPalette());
}

}  // namespace sonvale::AppearanceStyle
