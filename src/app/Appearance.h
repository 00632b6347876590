#pragma once

#include "Preferences.h"

namespace sonvale {

// Applies the appearance preference to the whole application at once: System keeps the style
// and palette the desktop gave the application at start; Dark and Light use the Fusion style
// with a dark or light palette of Sonvale's own. Main thread only, after the QApplication exists.
namespace AppearanceStyle {

void apply(Appearance appearance);

}  // namespace AppearanceStyle

}  // namespace sonvale
