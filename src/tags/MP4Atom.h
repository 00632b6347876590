#pragma once

#include "ByteView.h"
#include "FileBytes.h"

#include <QList>
#include <QVarLengthArray>

#include <cstdint>
#include <initializer_list>
#include <optional>

namespace sonvale {

// A four-character atom type as the big-endian number it is stored as ("moov" → 0x6D6F6F76).
// Types that start with the © sign are written with the octal escape "\251".
constexpr uint32_t atomType(const char (&name)[5]) {
    return uint32_t(uint8_t(name[0])) << 24 | uint32_t(uint8_t(name[1])) << 16 | uint32_t(uint8_t(name[2])) << 8 |
           uint32_t(uint8_t(name[3]));
}

// One atom (box) of an MP4/QuickTime file: its type and where its body lies, relative to the
// bytes it was found in (absolute file offsets for the top level).
struct MP4Atom {
    uint32_t type = 0;
    qint64 offset = 0;
    qint64 size = 0;

    bool operator==(const MP4Atom&) const = default;
};

// A list of sibling atoms; short lists stay on the stack.
using MP4AtomList = QVarLengthArray<MP4Atom, 16>;

// Walks the atom tree of ISO base media files (ISO/IEC 14496-12) and QuickTime files. Sizes
// may be 32-bit, 64-bit (size 1 followed by the large size) or 0 (to the end of the parent);
// every size is checked against the parent, and the first malformed header ends its list, so
// no walk can loop or leave its parent. Lists stop after kMaxAtoms entries. Stateless and
// thread-safe; the views returned point into the caller's bytes.
class MP4Atoms {
public:
    static constexpr int kMaxAtoms = 4096;

    // The atoms inside `body`, in order.
    static MP4AtomList children(ByteView body);
    // The body of the first child of that type.
    static std::optional<ByteView> child(ByteView body, uint32_t type);
    // Follows a chain of first children, e.g. udta → meta → ilst; a `meta` on the way is
    // entered with or without its version and flags (see metaContents).
    static std::optional<ByteView> path(ByteView body, std::initializer_list<uint32_t> types);
    // The children area of a `meta` body: ISO files give it a version and flags first, the
    // QuickTime form starts with the first child right away.
    static ByteView metaContents(ByteView meta);
    // The top-level atoms from `offset` to the end of the file; reads their headers only.
    static QList<MP4Atom> topLevel(const FileBytes& file, qint64 offset);
    // The atoms inside a body of `size` bytes at file offset `offset`, read from the file
    // header by header; offsets are absolute.
    static QList<MP4Atom> inFile(const FileBytes& file, qint64 offset, qint64 size);
};

}  // namespace sonvale
