#include "MP4SampleTable.h"

#include "MP4Atom.h"

namespace sonvale {

namespace {

constexpr uint64_t kMaxOffset = uint64_t(1) << 56;

// stsz: version and flags, a size shared by all samples (0 when each has its own), the
// sample count, then the per-sample sizes.
struct SampleSizes {
    uint32_t shared = 0;
    uint32_t count = 0;
    ByteView table;

    uint32_t at(qint64 i) const { return shared != 0 ? shared : *table.be32(i * 4); }
};

std::optional<SampleSizes> readSizes(ByteView stbl) {
    const auto stsz = MP4Atoms::child(stbl, atomType("stsz"));
    if (!stsz) return std::nullopt;
    const auto shared = stsz->be32(4);
    const auto count = stsz->be32(8);
    if (!shared || !count) return std::nullopt;
    SampleSizes sizes{*shared, *count, {}};
    if (*shared == 0) {
        const auto table = stsz->sub(12, qint64(*count) * 4);
        if (!table) return std::nullopt;
        sizes.table = *table;
    }
    return sizes;
}

// Chunk offsets from stco (32-bit) or co64 (64-bit).
struct ChunkOffsets {
    ByteView table;
    qint64 width = 4;
    qint64 count = 0;

    uint64_t at(qint64 i) const { return width == 8 ? *table.be64(i * 8) : *table.be32(i * 4); }
};

std::optional<ChunkOffsets> readChunkOffsets(ByteView stbl) {
    ChunkOffsets offsets;
    auto box = MP4Atoms::child(stbl, atomType("stco"));
    if (!box) {
        box = MP4Atoms::child(stbl, atomType("co64"));
        offsets.width = 8;
    }
    if (!box) return std::nullopt;
    const auto count = box->be32(4);
    if (!count) return std::nullopt;
    const auto table = box->sub(8, qint64(*count) * offsets.width);
    if (!table) return std::nullopt;
    offsets.table = *table;
    offsets.count = *count;
    return offsets;
}

// Places up to `limit` samples in their chunks: stsc runs of (first chunk, samples per chunk,
// description index), each run lasting until the next one's first chunk.
std::optional<QList<MP4SampleTable::Sample>> placeSamples(ByteView stbl, const SampleSizes& sizes, qint64 limit) {
    const auto chunks = readChunkOffsets(stbl);
    const auto stsc = MP4Atoms::child(stbl, atomType("stsc"));
    if (!chunks || !stsc) return std::nullopt;
    const auto runs = stsc->be32(4);
    if (!runs || !stsc->contains(8, qint64(*runs) * 12)) return std::nullopt;
    const qint64 wanted = std::min<qint64>(limit, sizes.count);
    QList<MP4SampleTable::Sample> samples;
    for (qint64 r = 0; r < *runs && samples.size() < wanted; ++r) {
        const qint64 first = *stsc->be32(8 + r * 12);
        const qint64 perChunk = *stsc->be32(12 + r * 12);
        const qint64 end = r + 1 < *runs ? qint64(*stsc->be32(20 + r * 12)) : chunks->count + 1;
        if (first < 1 || end <= first || end > chunks->count + 1) return std::nullopt;
        for (qint64 chunk = first; chunk < end && samples.size() < wanted; ++chunk) {
            // Far beyond any real file, and keeps the sums below from overflowing.
            if (chunks->at(chunk - 1) > kMaxOffset) return std::nullopt;
            qint64 offset = qint64(chunks->at(chunk - 1));
            for (qint64 k = 0; k < perChunk && samples.size() < wanted; ++k) {
                const qint64 size = sizes.at(samples.size());
                samples.append({offset, size, 0, 0});
                offset += size;
            }
        }
    }
    if (samples.size() < wanted) return std::nullopt;
    return samples;
}

// stts: runs of (sample count, sample duration).
bool assignTimes(ByteView stbl, QList<MP4SampleTable::Sample>& samples) {
    const auto stts = MP4Atoms::child(stbl, atomType("stts"));
    if (!stts) return false;
    const auto runs = stts->be32(4);
    if (!runs || !stts->contains(8, qint64(*runs) * 8)) return false;
    qsizetype next = 0;
    uint64_t time = 0;
    for (qint64 r = 0; r < *runs && next < samples.size(); ++r) {
        const uint32_t count = *stts->be32(8 + r * 8);
        const uint32_t delta = *stts->be32(12 + r * 8);
        for (uint32_t k = 0; k < count && next < samples.size(); ++k) {
            samples[next].time = time;
            samples[next].duration = delta;
            time += delta;
            ++next;
        }
    }
    return next == samples.size();
}

}  // namespace

std::optional<qint64> MP4SampleTable::totalBytes(ByteView stbl) {
    const auto sizes = readSizes(stbl);
    if (!sizes) return std::nullopt;
    if (sizes->shared != 0) {
        // Two 32-bit factors can exceed a signed 64-bit total; no real file comes near.
        const uint64_t total = uint64_t(sizes->shared) * sizes->count;
        if (total > uint64_t(INT64_MAX)) return std::nullopt;
        return qint64(total);
    }
    // At most a table's worth of 32-bit sizes, so the sum stays far below the limit.
    qint64 total = 0;
    for (qint64 i = 0; i < sizes->count; ++i) total += sizes->at(i);
    return total;
}

std::optional<QList<MP4SampleTable::Sample>> MP4SampleTable::samples(ByteView stbl, int limit) {
    const auto sizes = readSizes(stbl);
    if (!sizes || limit < 1) return std::nullopt;
    auto placed = placeSamples(stbl, *sizes, limit);
    if (!placed || !assignTimes(stbl, *placed)) return std::nullopt;
    return placed;
}

}  // namespace sonvale

