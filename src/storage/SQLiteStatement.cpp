#include "SQLiteStatement.h"

#include <sqlite3.h>

#include <limits>

namespace sonvale {

void SQLiteStatement::reset() {
    if (handle_) sqlite3_reset(handle_.get());
}

void SQLiteStatement::countUse() {
    if (useCount_ < std::numeric_limits<qint64>::max()) ++useCount_;
}

}  // namespace sonvale
