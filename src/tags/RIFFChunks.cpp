#include "RIFFChunks.h"

#include "AudioInfo.h"

#include <QStringDecoder>

#include <cmath>

namespace sonvale {

namespace {

constexpr qint64 kFormHeaderBytes = 12;
constexpr qint64 kChunkHeaderBytes = 8;
constexpr qint64 kDs64Bytes = 24;
constexpr uint32_t kUnknownSize32 = 0xFFFFFFFF;
constexpr double kMaxBitRate = 1e15;

// What the header of a form says about the walk that follows.
struct FormHeader {
    RIFFForm::Kind kind = RIFFForm::Wave;
    bool littleEndian = true;
    bool sizesInDs64 = false;  // RF64 / BW64: 32-bit sizes of -1 are given by the ds64 chunk
    uint32_t declaredSize = 0;
};

std::optional<FormHeader> parseFormHeader(ByteView h) {
    const uint32_t magic = *h.be32(0);
    const uint32_t type = *h.be32(8);
    FormHeader form;
    if (magic == RIFFChunks::fourCC("FORM")) {
        if (type == RIFFChunks::fourCC("AIFF")) form.kind = RIFFForm::Aiff;
        else if (type == RIFFChunks::fourCC("AIFC")) form.kind = RIFFForm::Aifc;
        else return std::nullopt;
        form.littleEndian = false;
        form.declaredSize = *h.be32(4);
        return form;
    }
    const bool riff = magic == RIFFChunks::fourCC("RIFF");
    if (!riff && magic != RIFFChunks::fourCC("RF64") && magic != RIFFChunks::fourCC("BW64")) return std::nullopt;
    if (type != RIFFChunks::fourCC("WAVE")) return std::nullopt;
    form.sizesInDs64 = !riff;
    form.declaredSize = *h.le32(4);
    return form;
}

// Where the chunks of a form that starts at `offset` end. A size too small to hold the form
// type and one chunk header, or one beyond the file (streaming writers leave -1), is no size:
// the chunks then run up to the end of the file.
qint64 formEnd(const FileBytes& file, qint64 offset, uint64_t declaredSize) {
    const auto room = uint64_t(file.size() - offset - kChunkHeaderBytes);
    if (declaredSize < uint64_t(4 + kChunkHeaderBytes) || declaredSize > room) return file.size();
    return offset + kChunkHeaderBytes + qint64(declaredSize);
}

bool isSoundData(RIFFForm::Kind kind, uint32_t id) {
    return kind == RIFFForm::Wave ? id == RIFFChunks::fourCC("data") : id == RIFFChunks::fourCC("SSND");
}

}  // namespace

const RIFFChunk* RIFFForm::first(uint32_t id) const {
    for (const RIFFChunk& chunk : chunks) {
        if (chunk.id == id) return &chunk;
    }
    return nullptr;
}

std::optional<RIFFForm> RIFFChunks::read(const FileBytes& file, qint64 offset) {
    if (offset < 0 || offset > file.size() - kFormHeaderBytes) return std::nullopt;
    const auto headerBytes = file.read(offset, kFormHeaderBytes);
    if (!headerBytes) return std::nullopt;
    const auto header = parseFormHeader(ByteView(*headerBytes));
    if (!header) return std::nullopt;

    RIFFForm form;
    form.kind = header->kind;
    qint64 end = formEnd(file, offset, header->declaredSize);
    uint64_t dataSize64 = kUnknownSize32;  // without ds64, -1 stays: the data runs to the end
    qint64 p = offset + kFormHeaderBytes;
    for (int i = 0; i < kMaxChunks && p <= end - kChunkHeaderBytes; ++i) {
        const auto bytes = file.read(p, kChunkHeaderBytes);
        if (!bytes) break;
        const ByteView h(*bytes);
        if (!h.fourCC(0)) break;
        const uint32_t id = *h.be32(0);
        uint64_t size = header->littleEndian ? *h.le32(4) : *h.be32(4);
        if (header->sizesInDs64 && size == kUnknownSize32 && id == fourCC("data")) size = dataSize64;
        const qint64 body = p + kChunkHeaderBytes;
        const auto available = uint64_t(end - body);
        if (size > available) {
            // A cut recording keeps what is left of its samples; any other chunk ends the walk.
            if (isSoundData(form.kind, id)) form.chunks.append({id, body, qint64(available)});
            break;
        }
        form.chunks.append({id, body, qint64(size)});
        if (header->sizesInDs64 && i == 0 && id == fourCC("ds64") && qint64(size) >= kDs64Bytes) {
            const auto ds64 = file.read(body, kDs64Bytes);
            if (!ds64) break;
            const ByteView d(*ds64);
            end = formEnd(file, offset, *d.le64(0));
            dataSize64 = *d.le64(8);
            form.sampleCount64 = *d.le64(16);
        }
        p = body + qint64(size) + qint64(size & 1);
    }
    return form;
}

qint64 RIFFChunks::averageBitRate(qint64 bytes, double duration) {
    if (!(duration > 0)) return 0;
    const double bitRate = double(bytes) * 8.0 / duration;
    return bitRate <= kMaxBitRate ? std::llround(bitRate) : 0;
}

QString RIFFChunks::text(ByteView bytes) {
    const qint64 nul = bytes.indexOf('\0');
    const QByteArrayView raw(bytes.data(), nul < 0 ? bytes.size() : nul);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString value = decoder.decode(raw);
    if (decoder.hasError()) value = QString::fromLatin1(raw);
    return trimTagText(value);
}

}  // namespace sonvale
