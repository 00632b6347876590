#pragma once

#include <QLoggingCategory>

namespace sonvale {

// Log lines of the player and its audio engine ("sonvale.player").
Q_DECLARE_LOGGING_CATEGORY(lcPlayer)

}  // namespace sonvale
