#include "MP4Reader.h"

#include "MP4Atom.h"
#include "MP4AudioEntry.h"
#include "MP4Chapters.h"
#include "MP4ItemList.h"
#include "MP4SampleTable.h"
#include "MP4Track.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace sonvale {

namespace {

// The movie atom's bytes (held or shared by `holder`) and the total size of the media data
// atoms.
struct Movie {
    QByteArray holder;
    ByteView bytes;
    qint64 mediaDataBytes = 0;

    ByteView view() const { return bytes; }
};

// A movie atom larger than this is read without the bulk of its pictures.
constexpr qint64 kWholeMovieBytes = 64 * 1024;
// What is kept of a picture's value then: enough to tell that there is one.
constexpr qint64 kKeptPictureBytes = 16;
// A freeform item that holds a gain is about a hundred bytes; a larger one holds something else.
constexpr qint64 kMaxFreeformBytes = 4096;

std::optional<MP4Atom> findIn(const FileBytes& file, const MP4Atom& parent, uint32_t type) {
    for (const MP4Atom& atom : MP4Atoms::inFile(file, parent.offset, parent.size)) {
        if (atom.type == type) return atom;
    }
    return std::nullopt;
}

// moov/udta/meta/ilst found by reading atom headers only.
std::optional<MP4Atom> itemListInFile(const FileBytes& file, const MP4Atom& moov) {
    const auto udta = findIn(file, moov, atomType("udta"));
    auto meta = udta ? findIn(file, *udta, atomType("meta")) : std::nullopt;
    if (!meta) return std::nullopt;
    QByteArray holder;
    // The ISO form of meta starts with version and flags (zero), the QuickTime form with a child.
    if (const auto first = file.view(meta->offset, 4, holder); first && first->be32(0) == 0u) {
        meta->offset += 4;
        meta->size -= 4;
    }
    return findIn(file, *meta, atomType("ilst"));
}

std::optional<MP4Atom> movieAtom(const FileBytes& file, qint64 offset) {
    for (const MP4Atom& atom : MP4Atoms::topLevel(file, offset)) {
        if (atom.type == atomType("moov")) return atom;
    }
    return std::nullopt;
}

// The file ranges of the picture values in udta/meta/ilst/covr beyond their first bytes, in
// file order. A cover can be a megabyte; reading the tags needs only to know it is there.
QList<std::pair<qint64, qint64>> pictureBulk(const FileBytes& file, const MP4Atom& moov) {
    QList<std::pair<qint64, qint64>> ranges;
    const auto ilst = itemListInFile(file, moov);
    if (!ilst) return ranges;
    for (const MP4Atom& item : MP4Atoms::inFile(file, ilst->offset, ilst->size)) {
        if (item.type != atomType("covr")) continue;
        for (const MP4Atom& value : MP4Atoms::inFile(file, item.offset, item.size)) {
            if (value.size > kKeptPictureBytes) ranges.append({value.offset + kKeptPictureBytes, value.offset + value.size});
        }
    }
    return ranges;
}

// The movie's bytes with the bulk of its pictures left as zeros: the same layout, so every
// offset and size inside stays true.
bool readWithoutPictures(const FileBytes& file, const MP4Atom& moov, Movie& movie) {
    const QList<std::pair<qint64, qint64>> skipped = pictureBulk(file, moov);
    if (skipped.isEmpty()) return false;
    movie.holder = QByteArray(moov.size, '\0');
    qint64 p = moov.offset;
    auto copy = [&](qint64 until) {
        if (until <= p) return true;
        QByteArray buffer;
        const auto bytes = file.view(p, until - p, buffer);
        if (!bytes) return false;
        std::memcpy(movie.holder.data() + (p - moov.offset), bytes->data(), static_cast<std::size_t>(bytes->size()));
        return true;
    };
    for (const auto& [begin, end] : skipped) {
        if (!copy(begin)) return false;
        p = std::max(p, end);
    }
    if (!copy(moov.offset + moov.size)) return false;
    movie.bytes = ByteView(movie.holder);
    return true;
}

std::optional<Movie> readMovie(const FileBytes& file, qint64 offset, bool withPictures) {
    std::optional<MP4Atom> moov;
    Movie movie;
    for (const MP4Atom& atom : MP4Atoms::topLevel(file, offset)) {
        if (atom.type == atomType("moov") && !moov) moov = atom;
        if (atom.type == atomType("mdat")) movie.mediaDataBytes += atom.size;
    }
    if (!moov || moov->size > MP4Reader::kMaxMovieBytes) return std::nullopt;
    if (!withPictures && moov->size > kWholeMovieBytes && readWithoutPictures(file, *moov, movie)) return movie;
    const auto bytes = file.view(moov->offset, moov->size, movie.holder);
    if (!bytes) return std::nullopt;
    movie.bytes = *bytes;
    return movie;
}

QList<MP4Track> readTracks(ByteView moov) {
    QList<MP4Track> tracks;
    for (const MP4Atom& atom : MP4Atoms::children(moov)) {
        if (atom.type != atomType("trak")) continue;
        if (auto track = MP4Track::read(*moov.sub(atom.offset, atom.size))) tracks.append(*track);
    }
    return tracks;
}

// The audio track's own duration when it has one, else the movie's, else (for fragmented
// files) the duration in the movie extends header.
double movieDuration(ByteView moov, const MP4Track* audio) {
    if (audio && audio->duration.seconds() > 0) return audio->duration.seconds();
    const auto mvhd = MP4Atoms::child(moov, atomType("mvhd"));
    const auto header = mvhd ? MP4Duration::readHeader(*mvhd) : std::nullopt;
    if (!header) return 0;
    if (header->seconds() > 0) return header->seconds();
    const auto mehd = MP4Atoms::path(moov, {atomType("mvex"), atomType("mehd")});
    const auto version = mehd ? mehd->u8(0) : std::nullopt;
    if (!version) return 0;
    const std::optional<uint64_t> units =
        *version == 1 ? mehd->be64(4) : std::optional<uint64_t>(mehd->be32(4));
    return units ? MP4Duration{header->timescale, *units}.seconds() : 0;
}

AudioProperties readProperties(const Movie& movie, const MP4Track* audio) {
    AudioProperties props;
    props.duration = movieDuration(movie.view(), audio);
    if (!audio) return props;
    const auto entry = MP4AudioEntry::read(audio->sampleTable);
    if (entry) {
        props.sampleRate = entry->sampleRate;
        props.channels = entry->channels;
        props.bitRate = entry->bitRate;
    }
    if (props.bitRate == 0 && props.duration > 0) {
        // Fragmented files keep their samples out of the movie's tables; then the media data
        // atoms are the best measure left.
        const qint64 tableBytes = MP4SampleTable::totalBytes(audio->sampleTable).value_or(0);
        const qint64 bytes = tableBytes > 0 ? tableBytes : movie.mediaDataBytes;
        props.bitRate = std::llround(double(bytes) * 8.0 / props.duration);
    }
    return props;
}

// A chapter track named by the audio track wins over a Nero list.
QList<Chapter> readChapters(const FileBytes& file, ByteView moov, const QList<MP4Track>& tracks,
                            const MP4Track* audio) {
    if (audio) {
        for (const uint32_t id : audio->chapterTrackIds) {
            // Only text tracks: a reference to any other kind would make us read media data.
            const auto track = std::find_if(tracks.begin(), tracks.end(), [id](const MP4Track& t) {
                return t.id == id && (t.handler == atomType("text") || t.handler == atomType("sbtl"));
            });
            if (track == tracks.end()) continue;
            if (auto chapters = MP4Chapters::readTextTrack(file, *track); chapters && !chapters->isEmpty()) {
                return *chapters;
            }
        }
    }
    const auto chpl = MP4Atoms::path(moov, {atomType("udta"), atomType("chpl")});
    return chpl ? MP4Chapters::readNero(*chpl) : QList<Chapter>();
}

std::optional<ByteView> itemList(ByteView moov) {
    return MP4Atoms::path(moov, {atomType("udta"), atomType("meta"), atomType("ilst")});
}

}  // namespace

std::optional<AudioInfo> MP4Reader::readInfo(const FileBytes& file, qint64 offset) {
    const auto movie = readMovie(file, offset, false);
    if (!movie) return std::nullopt;
    const ByteView moov = movie->view();
    const QList<MP4Track> tracks = readTracks(moov);
    const auto audio = std::find_if(tracks.begin(), tracks.end(),
                                    [](const MP4Track& t) { return t.handler == atomType("soun"); });
    const MP4Track* audioTrack = audio != tracks.end() ? &*audio : nullptr;

    AudioInfo info;
    info.properties = readProperties(*movie, audioTrack);
    if (const auto ilst = itemList(moov)) {
        info.tags = MP4ItemList::readTags(*ilst);
        info.hasArtwork = MP4ItemList::firstCoverView(*ilst).has_value();
    }
    info.chapters = finalizeChapters(readChapters(file, moov, tracks, audioTrack), info.properties.duration);
    return info;
}

ReplayGain MP4Reader::readReplayGain(const FileBytes& file, qint64 offset) {
    ReplayGainTags tags;
    const auto moov = movieAtom(file, offset);
    const auto ilst = moov ? itemListInFile(file, *moov) : std::nullopt;
    if (!ilst) return tags.result();
    for (const MP4Atom& item : MP4Atoms::inFile(file, ilst->offset, ilst->size)) {
        if (item.type != atomType("----") || item.size > kMaxFreeformBytes) continue;
        QByteArray holder;
        if (const auto body = file.view(item.offset, item.size, holder)) MP4ItemList::offerFreeform(*body, tags);
    }
    return tags.result();
}

std::optional<QByteArray> MP4Reader::readPicture(const FileBytes& file, qint64 offset) {
    const auto movie = readMovie(file, offset, true);
    if (!movie) return std::nullopt;
    const auto ilst = itemList(movie->view());
    return ilst ? MP4ItemList::firstCover(*ilst) : std::nullopt;
}

}  // namespace sonvale
