#pragma once

#include <QLoggingCategory>

namespace sonvale {

// Log lines of the MPRIS service ("sonvale.mpris").
Q_DECLARE_LOGGING_CATEGORY(lcMpris)

}  // namespace sonvale
