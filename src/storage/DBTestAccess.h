#pragma once

#include "DB.h"

namespace sonvale {

// For tests and benchmarks only: the connection behind the storage roles, for setting files up
// and reading them back in SQL. The program itself reaches storage through the roles.
class DBTestAccess {
public:
    // nullptr when the file could not be opened.
    static SQLiteQueue* queue(DB& db) { return db.queue(); }
};

}  // namespace sonvale
