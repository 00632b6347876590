#include "MP4Track.h"

#include "MP4Atom.h"

namespace sonvale {

namespace {

// The references of one type in a tref body are plain lists of 32-bit track ids.
constexpr int kMaxReferences = 64;

QList<uint32_t> chapterReferences(ByteView trak) {
    QList<uint32_t> ids;
    const auto chap = MP4Atoms::path(trak, {atomType("tref"), atomType("chap")});
    if (!chap) return ids;
    for (qint64 p = 0; p + 4 <= chap->size() && ids.size() < kMaxReferences; p += 4) ids.append(*chap->be32(p));
    return ids;
}

}  // namespace

double MP4Duration::seconds() const {
    if (timescale == 0 || units == 0) return 0;
    return double(units) / double(timescale);
}

std::optional<MP4Duration> MP4Duration::readHeader(ByteView body) {
    // Version 1 has 64-bit creation and modification times and a 64-bit duration.
    const auto version = body.u8(0);
    if (!version) return std::nullopt;
    const bool wide = *version == 1;
    const auto timescale = body.be32(wide ? 20 : 12);
    const std::optional<uint64_t> units = wide ? body.be64(24) : std::optional<uint64_t>(body.be32(16));
    if (!timescale || !units) return std::nullopt;
    // A duration of all ones means "unknown".
    const bool unknown = wide ? *units == UINT64_MAX : *units == UINT32_MAX;
    return MP4Duration{*timescale, unknown ? 0 : *units};
}

std::optional<MP4Track> MP4Track::read(ByteView trak) {
    const auto tkhd = MP4Atoms::child(trak, atomType("tkhd"));
    const auto mdia = MP4Atoms::child(trak, atomType("mdia"));
    if (!tkhd || !mdia) return std::nullopt;
    const auto version = tkhd->u8(0);
    const auto id = version ? tkhd->be32(*version == 1 ? 20 : 12) : std::nullopt;
    if (!id) return std::nullopt;

    MP4Track track;
    track.id = *id;
    if (const auto hdlr = MP4Atoms::child(*mdia, atomType("hdlr"))) track.handler = hdlr->be32(8).value_or(0);
    if (const auto mdhd = MP4Atoms::child(*mdia, atomType("mdhd"))) {
        track.duration = MP4Duration::readHeader(*mdhd).value_or(MP4Duration{});
    }
    track.chapterTrackIds = chapterReferences(trak);
    track.sampleTable = MP4Atoms::path(*mdia, {atomType("minf"), atomType("stbl")}).value_or(ByteView{});
    return track;
}

}  // namespace sonvale
