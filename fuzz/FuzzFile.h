#pragma once

#include "FileBytes.h"

#include <cstddef>
#include <cstdint>
#include <optional>

// Puts one fuzzer input into an anonymous in-memory file and opens it as a FileBytes, so the
// readers run their real positioned reads on it. One per process, reused for every input.
class FuzzFile {
public:
    static std::optional<sonvale::FileBytes> open(const uint8_t* data, size_t size);
    // The path under which the current input can be opened again.
    static QString path();
};
