#pragma once

#include <QString>

#include <functional>

namespace sonvale {

// The numbered steps that bring the library database from any older schema version, or from
// an empty file, to the current one. Every step is one statement, or a file operation, or
// nothing; the steps never change once released, so that any old file can still climb.
class Migrations {
public:
    static constexpr int kCurrentVersion = 36;

    // Runs one SQL statement to completion; true when it did.
    using Executor = std::function<bool(const QString& sql)>;

    // Carries out step `version` (1...kCurrentVersion) through `execute`; `dataDirectory` is
    // the folder of the database file, which some steps tidy. True for success; false too for
    // a version outside the ladder.
    static bool runStep(int version, const Executor& execute, const QString& dataDirectory);
};

}  // namespace sonvale
