#pragma once

#include "PlaybackMode.h"

#include <QColor>
#include <QIcon>
#include <QPixmap>

namespace sonvale {

// The window's glyphs, drawn rather than taken from the desktop's icon theme, so that they look
// the same on every desktop and exist where no theme is installed. Each is drawn in `color`
// (the palette's button text), at several sizes for crisp scaling. Main thread only (QPixmap).
namespace Icons {

enum class Glyph { Play, Pause, Previous, Next };

QIcon glyph(Glyph glyph, const QColor& color);
QIcon playbackMode(PlaybackMode mode, const QColor& color);
// The picture shown when the current track has no cover, `size` pixels square.
QPixmap defaultCover(int size, const QColor& background, const QColor& foreground);

}  // namespace Icons

}  // namespace sonvale
