#pragma once

#include <QLoggingCategory>

namespace sonvale {

// Log lines of the player, its audio engine, its playlist and the opening of files
// ("sonvale.player").
Q_DECLARE_LOGGING_CATEGORY(lcPlayer)

}  // namespace sonvale
