#pragma once

#include <QLoggingCategory>

namespace sonvale {

// Log lines of the SQLite layer and of the database object ("sonvale.db").
Q_DECLARE_LOGGING_CATEGORY(lcDb)

}  // namespace sonvale
