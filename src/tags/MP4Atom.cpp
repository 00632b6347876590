#include "MP4Atom.h"

#include <algorithm>
#include <limits>

namespace sonvale {

namespace {

constexpr qint64 kLargeHeader = 16;

struct Header {
    uint32_t type = 0;
    qint64 headerSize = 8;
    qint64 totalSize = 0;
};

// The header at the start of `bytes`; `room` is what is left of the parent from there on.
std::optional<Header> parseHeader(ByteView bytes, qint64 room) {
    const auto size32 = bytes.be32(0);
    const auto type = bytes.be32(4);
    if (!size32 || !type) return std::nullopt;
    Header header{*type, 8, *size32};
    if (*size32 == 1) {
        const auto large = bytes.be64(8);
        if (!large || *large > uint64_t(std::numeric_limits<qint64>::max())) return std::nullopt;
        header.headerSize = kLargeHeader;
        header.totalSize = qint64(*large);
    } else if (*size32 == 0) {
        header.totalSize = room;
    }
    // Sizes below the header's own length would make the walk stand still.
    if (header.totalSize < header.headerSize || header.totalSize > room) return std::nullopt;
    return header;
}

// Calls `visit(atom)` for the atoms inside `body` in order until it returns true.
template <typename Visit>
void forEachChild(ByteView body, Visit visit) {
    qint64 p = 0;
    for (int n = 0; p < body.size() && n < MP4Atoms::kMaxAtoms; ++n) {
        const auto header = parseHeader(*body.from(p), body.size() - p);
        if (!header) return;
        if (visit(MP4Atom{header->type, p + header->headerSize, header->totalSize - header->headerSize})) return;
        p += header->totalSize;
    }
}

}  // namespace

MP4AtomList MP4Atoms::children(ByteView body) {
    MP4AtomList atoms;
    forEachChild(body, [&](const MP4Atom& atom) {
        atoms.append(atom);
        return false;
    });
    return atoms;
}

std::optional<ByteView> MP4Atoms::child(ByteView body, uint32_t type) {
    std::optional<ByteView> found;
    forEachChild(body, [&](const MP4Atom& atom) {
        if (atom.type == type) found = body.sub(atom.offset, atom.size);
        return found.has_value();
    });
    return found;
}

std::optional<ByteView> MP4Atoms::path(ByteView body, std::initializer_list<uint32_t> types) {
    std::optional<ByteView> current = body;
    bool inMeta = false;
    for (const uint32_t type : types) {
        current = child(inMeta ? metaContents(*current) : *current, type);
        if (!current) return std::nullopt;
        inMeta = type == atomType("meta");
    }
    return current;
}

ByteView MP4Atoms::metaContents(ByteView meta) {
    // Version and flags are zero in every ISO meta box; a QuickTime meta begins with the
    // size of its first child, which is never zero.
    const auto first = meta.be32(0);
    if (first && *first == 0) return *meta.from(4);
    return meta;
}

QList<MP4Atom> MP4Atoms::topLevel(const FileBytes& file, qint64 offset) {
    return offset >= 0 && offset <= file.size() ? inFile(file, offset, file.size() - offset) : QList<MP4Atom>();
}

QList<MP4Atom> MP4Atoms::inFile(const FileBytes& file, qint64 offset, qint64 size) {
    QList<MP4Atom> atoms;
    if (offset < 0 || size < 0 || offset > file.size() || size > file.size() - offset) return atoms;
    const qint64 end = offset + size;
    qint64 p = offset;
    while (p < end && atoms.size() < kMaxAtoms) {
        QByteArray holder;
        const auto bytes = file.view(p, std::min(kLargeHeader, end - p), holder);
        if (!bytes) break;
        const auto header = parseHeader(*bytes, end - p);
        if (!header) break;
        atoms.append({header->type, p + header->headerSize, header->totalSize - header->headerSize});
        p += header->totalSize;
    }
    return atoms;
}

}  // namespace sonvale
