#include "MP4Chapters.h"

#include "MP4SampleTable.h"

#include <QStringDecoder>

namespace sonvale {

namespace {

constexpr double kNeroUnitsPerSecond = 1e7;
// Chapter samples lying within this span are read at once.
constexpr qint64 kMaxSpan = 1024 * 1024;
// A title longer than this is cut; the rest of the sample (style atoms) is never needed.
constexpr qint64 kMaxSampleRead = 4096;

// Titles are UTF-8, or UTF-16 when they start with a byte order mark.
QString decodeTitle(ByteView text) {
    const QByteArrayView bytes(text.data(), text.size());
    if (text.startsWith("\xFE\xFF")) return QStringDecoder(QStringDecoder::Utf16BE)(bytes.sliced(2));
    if (text.startsWith("\xFF\xFE")) return QStringDecoder(QStringDecoder::Utf16LE)(bytes.sliced(2));
    return QString::fromUtf8(bytes);
}

// The title inside one text sample; empty when the sample is malformed.
QString sampleTitle(ByteView sample) {
    const auto length = sample.be16(0);
    if (!length) return {};
    const auto text = sample.sub(2, std::min<qint64>(*length, sample.size() - 2));
    return text ? trimTagText(decodeTitle(*text)) : QString();
}

// The bytes of every sample, each cut to kMaxSampleRead, with one read when they lie close
// together and one read per sample otherwise.
std::optional<QList<QByteArray>> readSamples(const FileBytes& file, const QList<MP4SampleTable::Sample>& samples) {
    qint64 low = samples.first().offset;
    qint64 high = low;
    for (const auto& sample : samples) {
        low = std::min(low, sample.offset);
        high = std::max(high, sample.offset + std::min(sample.size, kMaxSampleRead));
    }
    std::optional<QByteArray> span;
    if (high - low <= kMaxSpan && high > low) {
        span = file.read(low, high - low);
        if (!span) return std::nullopt;
    }
    QList<QByteArray> bytes;
    for (const auto& sample : samples) {
        const qint64 count = std::min(sample.size, kMaxSampleRead);
        if (count == 0) {
            bytes.append(QByteArray());
            continue;
        }
        auto data = span ? ByteView(*span).slice(sample.offset - low, count) : file.read(sample.offset, count);
        if (!data) return std::nullopt;
        bytes.append(*data);
    }
    return bytes;
}

}  // namespace

QList<Chapter> MP4Chapters::readNero(ByteView chpl) {
    QList<Chapter> chapters;
    const auto version = chpl.u8(0);
    if (!version) return chapters;
    // Version 1 has a 32-bit count behind a reserved byte; version 0 an 8-bit count. Writers
    // that keep four reserved bytes and an 8-bit count produce the same bytes below 256.
    const std::optional<uint32_t> count = *version == 1 ? chpl.be32(5) : std::optional<uint32_t>(chpl.u8(4));
    qint64 p = *version == 1 ? 9 : 5;
    if (!count) return chapters;
    for (uint32_t i = 0; i < *count && chapters.size() < kMaxChapters; ++i) {
        const auto start = chpl.be64(p);
        const auto length = chpl.u8(p + 8);
        const auto title = length ? chpl.sub(p + 9, *length) : std::nullopt;
        if (!start || !title) break;
        const QString text = trimTagText(QString::fromUtf8(title->data(), title->size()));
        chapters.append({double(*start) / kNeroUnitsPerSecond, 0, text});
        p += 9 + *length;
    }
    return chapters;
}

std::optional<QList<Chapter>> MP4Chapters::readTextTrack(const FileBytes& file, const MP4Track& track) {
    if (track.duration.timescale == 0) return std::nullopt;
    const auto samples = MP4SampleTable::samples(track.sampleTable, kMaxChapters);
    if (!samples || samples->isEmpty()) return std::nullopt;
    const auto bytes = readSamples(file, *samples);
    if (!bytes) return std::nullopt;
    const double scale = track.duration.timescale;
    QList<Chapter> chapters;
    for (qsizetype i = 0; i < samples->size(); ++i) {
        const auto& sample = (*samples)[i];
        const double start = double(sample.time) / scale;
        chapters.append({start, double(sample.time + sample.duration) / scale, sampleTitle(ByteView((*bytes)[i]))});
    }
    return chapters;
}

}  // namespace sonvale
