#include "ID3FrameWalker.h"

#include <algorithm>

namespace sonvale {

namespace {

// Frame format flags of version 2.3.
constexpr uint8_t kV3Compressed = 0x80;
constexpr uint8_t kV3Encrypted = 0x40;
constexpr uint8_t kV3Grouped = 0x20;
// Frame format flags of version 2.4.
constexpr uint8_t kV4Grouped = 0x40;
constexpr uint8_t kV4Compressed = 0x08;
constexpr uint8_t kV4Encrypted = 0x04;
constexpr uint8_t kV4Unsynchronised = 0x02;
constexpr uint8_t kV4DataLength = 0x01;
// In version 2.2 this header flag marks a compression scheme that was never defined.
constexpr uint8_t kV2Compressed = 0x40;

// Undoes unsynchronisation: every 0xFF 0x00 pair stands for 0xFF.
QByteArray resynchronise(const QByteArray& bytes) {
    QByteArray out;
    out.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        out.append(bytes[i]);
        if (bytes[i] == char(0xFF) && i + 1 < bytes.size() && bytes[i + 1] == '\0') ++i;
    }
    return out;
}

}  // namespace

std::optional<ID3FrameWalker> ID3FrameWalker::open(const FileBytes& file, qint64 offset) {
    if (offset < 0) return std::nullopt;
    const auto headerBytes = file.read(offset, ID3Header::kSize);
    if (!headerBytes) return std::nullopt;
    const auto header = ID3Header::parse(ByteView(*headerBytes));
    if (!header || header->major < 2 || header->major > 4) return std::nullopt;

    const qint64 start = offset + ID3Header::kSize;
    const qint64 available = std::max<qint64>(0, std::min<qint64>(header->size, file.size() - start));
    ID3Body body(file, start, available);
    if (header->major == 2 && (header->flags & kV2Compressed)) {
        body = ID3Body(QByteArray());
    } else if (header->major <= 3 && (header->flags & ID3Header::kUnsynchronisation)) {
        // Versions 2.2 and 2.3 unsynchronise the whole tag, frame headers included, so the
        // frames can only be found in the decoded body.
        const auto bytes = body.read(0, std::min(available, FileBytes::kMaxRead));
        if (!bytes) return std::nullopt;
        body = ID3Body(resynchronise(*bytes));
    }
    ID3FrameWalker walker(std::move(body), *header);
    if (header->major >= 3 && (header->flags & ID3Header::kExtendedHeader)) walker.skipExtendedHeader();
    return walker;
}

ID3FrameWalker::ID3FrameWalker(ID3Body body, const ID3Header& header) : body_(std::move(body)), header_(header) {}

bool ID3FrameWalker::isFrameId(ByteView bytes) const {
    if (bytes.size() < idLength()) return false;
    for (qint64 i = 0; i < idLength(); ++i) {
        const char c = bytes.data()[i];
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) return false;
    }
    return true;
}

bool ID3FrameWalker::isFrameStart(qint64 pos) {
    if (pos == body_.size()) return true;
    if (pos < 0 || pos > body_.size()) return false;
    QByteArray holder;
    const auto bytes = body_.view(pos, std::min(idLength(), body_.size() - pos), holder);
    if (!bytes) return false;
    return *bytes->u8(0) == 0 || isFrameId(*bytes);
}

std::optional<qint64> ID3FrameWalker::frameSize(ByteView frameHeader, qint64 dataPos) {
    if (header_.major == 2) return frameHeader.be24(3);
    const auto plain = frameHeader.be32(4);
    if (header_.major == 3 || !plain) return plain;
    // Some 2.4 writers store plain sizes; they show once a size above 127 is taken as
    // syncsafe and leads nowhere while the plain reading leads to the next frame.
    const auto syncsafe = frameHeader.syncsafe32(4);
    if (!syncsafe) return plain;
    if (*syncsafe == *plain || isFrameStart(dataPos + *syncsafe)) return syncsafe;
    if (isFrameStart(dataPos + *plain)) return plain;
    return syncsafe;
}

void ID3FrameWalker::skipExtendedHeader() {
    const auto bytes = body_.read(0, 4);
    if (!bytes) return;
    const ByteView view(*bytes);
    // 2.3 counts the size field out, 2.4 counts it in (and stores it syncsafe).
    const auto size = header_.major == 3 ? view.be32(0) : view.syncsafe32(0);
    if (!size) return;
    const qint64 end = header_.major == 3 ? 4 + qint64(*size) : qint64(*size);
    // A flag set without a usable extended header leaves the frames right behind the header.
    if (end >= 6 && isFrameStart(end)) pos_ = end;
}

std::optional<ID3Frame> ID3FrameWalker::next() {
    const qint64 headerLength = headerSize();
    if (frames_ >= kMaxFrames || pos_ > body_.size() - headerLength) return std::nullopt;
    QByteArray holder;
    const auto bytes = body_.view(pos_, headerLength, holder);
    if (!bytes) return std::nullopt;
    const ByteView frameHeader = *bytes;
    if (!isFrameId(frameHeader)) return std::nullopt;
    const qint64 dataPos = pos_ + headerLength;
    const auto size = frameSize(frameHeader, dataPos);
    if (!size || *size > body_.size() - dataPos) return std::nullopt;

    uint32_t id = 0;
    for (qint64 i = 0; i < 4; ++i) id = (id << 8) | (i < idLength() ? *frameHeader.u8(i) : 0);
    ID3Frame frame{id, dataPos, *size, 0};
    if (header_.major >= 3) frame.formatFlags = *frameHeader.u8(9);
    pos_ = dataPos + *size;
    ++frames_;
    return frame;
}

std::optional<ByteView> ID3FrameWalker::contentView(const ID3Frame& frame, qint64 max, QByteArray& holder) {
    const qint64 stored = std::clamp<qint64>(max, 0, frame.size);
    if (header_.major == 2) return body_.view(frame.dataPos, stored, holder);

    const uint8_t flags = frame.formatFlags;
    qint64 skip = 0;
    bool unsynchronised = false;
    if (header_.major == 3) {
        if (flags & (kV3Compressed | kV3Encrypted)) return std::nullopt;
        skip = (flags & kV3Grouped) ? 1 : 0;
    } else {
        if (flags & (kV4Compressed | kV4Encrypted)) return std::nullopt;
        skip = ((flags & kV4Grouped) ? 1 : 0) + ((flags & kV4DataLength) ? 4 : 0);
        unsynchronised = (flags & kV4Unsynchronised) || (header_.flags & ID3Header::kUnsynchronisation);
    }
    auto bytes = body_.view(frame.dataPos, stored, holder);
    if (!bytes) return std::nullopt;
    // In 2.4 the grouping byte and the data length belong to the unsynchronised data.
    if (unsynchronised) {
        holder = resynchronise(bytes->toByteArray());
        bytes = ByteView(holder);
    }
    return bytes->from(skip);
}

std::optional<QByteArray> ID3FrameWalker::content(const ID3Frame& frame, qint64 max) {
    QByteArray holder;
    const auto bytes = contentView(frame, max, holder);
    if (!bytes) return std::nullopt;
    return bytes->toByteArray();
}

}  // namespace sonvale
