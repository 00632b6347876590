#include "SQLiteHandles.h"

#include <sqlite3.h>

namespace sonvale {

void SQLiteConnectionCloser::operator()(sqlite3* handle) const {
    sqlite3_close_v2(handle);
}

void SQLiteStatementFinalizer::operator()(sqlite3_stmt* handle) const {
    sqlite3_finalize(handle);
}

}  // namespace sonvale
