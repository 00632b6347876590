#include "RIFFReader.h"

#include "AIFFReader.h"
#include "ID3Reader.h"
#include "RIFFChunks.h"
#include "WAVEReader.h"

namespace sonvale {

namespace {

const RIFFChunk* firstID3Chunk(const RIFFForm& form) {
    for (const RIFFChunk& chunk : form.chunks) {
        if (chunk.id == RIFFChunks::fourCC("id3 ") || chunk.id == RIFFChunks::fourCC("ID3 ")) return &chunk;
    }
    return nullptr;
}

// Taggers write the ID3 chunk to be read in place of the native texts, so each of its values
// replaces the native one.
void overlayID3(const ID3Tag& id3, AudioInfo& info) {
    AudioTags tags = id3.tags;
    fillMissing(tags, info.tags);
    info.tags = std::move(tags);
    info.hasArtwork = info.hasArtwork || id3.hasPicture;
    info.chapters = finalizeChapters(id3.chapters, info.properties.duration);
}

// A tag in front of the form is foreign to it and only fills the gaps.
void fillFromID3(const ID3Tag& id3, AudioInfo& info) {
    fillMissing(info.tags, id3.tags);
    info.hasArtwork = info.hasArtwork || id3.hasPicture;
    if (info.chapters.isEmpty()) info.chapters = finalizeChapters(id3.chapters, info.properties.duration);
}

}  // namespace

std::optional<AudioInfo> RIFFReader::readInfo(const FileBytes& file, qint64 offset) {
    const auto form = RIFFChunks::read(file, offset);
    if (!form) return std::nullopt;
    auto info = form->kind == RIFFForm::Wave ? WAVEReader::readInfo(file, *form) : AIFFReader::readInfo(file, *form);
    if (!info) return std::nullopt;
    if (const RIFFChunk* chunk = firstID3Chunk(*form)) {
        if (const auto id3 = ID3Reader::readTag(file, chunk->offset)) overlayID3(*id3, *info);
    }
    if (offset >= 1) {
        if (const auto id3 = ID3Reader::readTag(file, 0)) fillFromID3(*id3, *info);
    }
    return info;
}

ReplayGain RIFFReader::readReplayGain(const FileBytes& file, qint64 offset) {
    ReplayGain gain;
    const auto form = RIFFChunks::read(file, offset);
    if (!form) return gain;
    if (const RIFFChunk* chunk = firstID3Chunk(*form)) gain = ID3Reader::readReplayGain(file, chunk->offset);
    if (offset >= 1) gain.fillMissing(ID3Reader::readReplayGain(file, 0));
    return gain;
}

std::optional<QByteArray> RIFFReader::readPicture(const FileBytes& file, qint64 offset) {
    const auto form = RIFFChunks::read(file, offset);
    if (!form) return std::nullopt;
    if (const RIFFChunk* chunk = firstID3Chunk(*form)) {
        if (auto picture = ID3Reader::readPicture(file, chunk->offset)) return picture;
    }
    if (offset >= 1) return ID3Reader::readPicture(file, 0);
    return std::nullopt;
}

}  // namespace sonvale
