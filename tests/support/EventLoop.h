#pragma once

#include <QString>

#include <functional>
#include <ostream>

// Tests that link this run with a QCoreApplication (made for the whole process), so that calls
// queued to the main thread are delivered while a test spins its event loop.

// Processes main-thread events until `done` holds or `seconds` pass; false on time-out.
bool spinUntil(const std::function<bool()>& done, double seconds = 60);

// Readable failure messages for texts and lists of texts.
void PrintTo(const QString& text, std::ostream* out);
