#include "MPEGStream.h"

#include "ByteView.h"
#include "ID3Header.h"
#include "MPEGFrameHeader.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>

namespace sonvale {

namespace {

// How far past `start` a first frame is looked for: encoders and taggers leave padding and
// the odd junk there, but a stream that does not begin within 64 KiB is not worth a scan.
constexpr qint64 kMaxSkip = 64 * 1024;
constexpr qint64 kScanStep = 1024;
constexpr int kMaxStackedTags = 4;
// The VBRI header sits at a fixed place, 32 bytes behind the frame header.
constexpr qint64 kVBRIOffset = MPEGFrameHeader::kSize + 32;
// Average rates a VBR header may claim: half the lowest and twice the highest frame bit rate,
// leaving room for a tag or the header frame that an encoder counted in.
constexpr double kMinAverageBitRate = 4000;
constexpr double kMaxAverageBitRate = 896000;

// Bytes of the file from `offset` on: a view into the file's head, or into `storage` when
// they had to be read. Moving a Window keeps the view valid (the storage moves its buffer).
struct Window {
    qint64 offset = 0;
    QByteArray storage;
    ByteView bytes;

    ByteView view() const { return bytes; }
};

struct Frame {
    qint64 offset = 0;
    MPEGFrameHeader header;
};

// What a Xing, Info or VBRI header in the first frame says about the whole stream.
struct VBRHeader {
    bool constant = false;  // an Info header: the encoder wrote one bit rate throughout
    qint64 frames = 0;      // audio frames, not counting the frame that holds this header
    qint64 bytes = 0;
    qint64 delay = 0;       // encoder delay and end padding in samples, from a LAME tag
    qint64 padding = 0;
};

std::optional<MPEGFrameHeader> headerAt(const FileBytes& file, const Window& window, qint64 offset) {
    std::optional<uint32_t> word = window.view().be32(offset - window.offset);
    if (!word) {
        const auto bytes = file.read(offset, MPEGFrameHeader::kSize);
        if (!bytes) return std::nullopt;
        word = ByteView(*bytes).be32(0);
    }
    return MPEGFrameHeader::parse(*word);
}

// A frame header at `offset` that is followed by a header of the same stream where its length
// says. A single valid-looking word is too common in junk and pictures to trust on its own;
// only when the next frame would start beyond `end` is the candidate taken unconfirmed.
std::optional<Frame> confirmedFrame(const FileBytes& file, const Window& window, qint64 offset, qint64 end) {
    const auto header = headerAt(file, window, offset);
    if (!header) return std::nullopt;
    const qint64 next = offset + header->frameLength;
    if (next > end - MPEGFrameHeader::kSize) return Frame{offset, *header};
    const auto following = headerAt(file, window, next);
    if (!following || !header->sameStream(*following)) return std::nullopt;
    return Frame{offset, *header};
}

// Some taggers write a second ID3v2 tag behind the first; its bytes are no audio.
qint64 skipStackedTags(const FileBytes& file, qint64 start, qint64 end) {
    for (int i = 0; i < kMaxStackedTags && start <= end - ID3Header::kSize; ++i) {
        const auto bytes = file.read(start, ID3Header::kSize);
        if (!bytes) break;
        const auto header = ID3Header::parse(ByteView(*bytes));
        if (!header || header->totalLength() > end - start) break;
        start += header->totalLength();
    }
    return start;
}

// The first confirmed frame at or after `start`, with the bytes read around it: each read
// covers a scan step plus the longest possible frame and the next header, so the frame's own
// bytes and its successor's header are normally in the same read.
std::optional<std::pair<Frame, Window>> findFirstFrame(const FileBytes& file, qint64 start, qint64 end) {
    const qint64 limit = std::min(end, start + kMaxSkip);
    for (qint64 pos = start; pos < limit; pos += kScanStep) {
        const qint64 count = std::min(kScanStep + MPEGFrameHeader::kMaxFrameLength + MPEGFrameHeader::kSize, end - pos);
        Window window{pos, {}, {}};
        const auto bytes = file.view(pos, count, window.storage);
        if (!bytes) return std::nullopt;
        window.bytes = *bytes;
        const ByteView view = window.view();
        const qint64 scanEnd = std::min({pos + kScanStep, limit, end - MPEGFrameHeader::kSize + 1});
        for (qint64 offset = pos; offset < scanEnd; ++offset) {
            if (view.u8(offset - pos) != 0xFF) continue;
            if (const auto frame = confirmedFrame(file, window, offset, end)) return std::pair{*frame, window};
        }
    }
    return std::nullopt;
}

// Encoders whose tag puts the encoder delay and end padding (12 bits each) 21 bytes behind
// the start of their version string.
bool hasDelayField(ByteView frame, qint64 at) {
    return frame.hasAt(at, "LAME") || frame.hasAt(at, "Lavf") || frame.hasAt(at, "Lavc");
}

std::optional<VBRHeader> parseXing(ByteView frame, const MPEGFrameHeader& header) {
    const qint64 at = header.xingOffset();
    const bool info = frame.hasAt(at, "Info");
    if (!info && !frame.hasAt(at, "Xing")) return std::nullopt;
    const auto flags = frame.be32(at + 4);
    if (!flags) return std::nullopt;
    VBRHeader vbr;
    vbr.constant = info;
    qint64 p = at + 8;
    if (*flags & 0x1) {
        const auto frames = frame.be32(p);
        if (!frames) return std::nullopt;
        vbr.frames = *frames;
        p += 4;
    }
    if (*flags & 0x2) {
        const auto bytes = frame.be32(p);
        if (!bytes) return std::nullopt;
        vbr.bytes = *bytes;
        p += 4;
    }
    if (*flags & 0x4) p += 100;  // seek table
    if (*flags & 0x8) p += 4;    // quality
    if (hasDelayField(frame, p)) {
        if (const auto field = frame.be24(p + 21)) {
            vbr.delay = *field >> 12;
            vbr.padding = *field & 0xFFF;
        }
    }
    return vbr;
}

std::optional<VBRHeader> parseVBRI(ByteView frame) {
    if (!frame.hasAt(kVBRIOffset, "VBRI") || frame.be16(kVBRIOffset + 4) != 1) return std::nullopt;
    const auto bytes = frame.be32(kVBRIOffset + 10);
    const auto frames = frame.be32(kVBRIOffset + 14);
    if (!bytes || !frames) return std::nullopt;
    VBRHeader vbr;
    vbr.bytes = *bytes;
    vbr.frames = *frames;
    return vbr;
}

// Whether the header's counts can describe this stream. A stream much longer than its header
// says was most likely joined from several files, and the header covers only the first; counts
// whose average rate lies far outside the MPEG bit rates (8 to 448 kbit/s) are corrupt.
bool trustworthy(const VBRHeader& vbr, const MPEGFrameHeader& h, qint64 streamBytes) {
    if (vbr.frames <= 0) return false;
    if (vbr.bytes > 0 && streamBytes > vbr.bytes && streamBytes - vbr.bytes > vbr.bytes / 16) return false;
    const double seconds = double(vbr.frames) * h.samplesPerFrame / double(h.sampleRate);
    const double rate = double(vbr.bytes > 0 ? vbr.bytes : streamBytes) * 8.0 / seconds;
    return rate >= kMinAverageBitRate && rate <= kMaxAverageBitRate;
}

void applyVBRHeader(const VBRHeader& vbr, const Frame& first, const Frame& audio, qint64 end,
                    AudioProperties& props) {
    const MPEGFrameHeader& h = first.header;
    const double frameSamples = double(vbr.frames) * h.samplesPerFrame;
    // The LAME tag counts the samples the encoder added in front and behind; a decoder drops
    // them (FFmpeg skips delay + 529 samples at the start and stops the same 529 samples after
    // frames * samplesPerFrame - padding), so the music lasts frames * spf - delay - padding.
    const double trimmed = double(vbr.delay + vbr.padding);
    const double samples = trimmed < frameSamples ? frameSamples - trimmed : frameSamples;
    props.duration = samples / double(h.sampleRate);
    if (vbr.constant) {
        props.bitRate = audio.header.bitRate;
    } else {
        const qint64 bytes = vbr.bytes > 0 ? vbr.bytes : end - first.offset;
        props.bitRate = std::llround(double(bytes) * 8.0 * double(h.sampleRate) / frameSamples);
    }
}

}  // namespace

std::optional<AudioProperties> MPEGStream::read(const FileBytes& file, qint64 start, qint64 end) {
    end = std::min(end, file.size());
    if (start < 0 || start >= end) return std::nullopt;
    start = skipStackedTags(file, start, end);
    const auto found = findFirstFrame(file, start, end);
    if (!found) return std::nullopt;
    const auto& [first, window] = *found;
    const MPEGFrameHeader& h = first.header;

    const qint64 at = first.offset - window.offset;
    const ByteView frame = *window.view().sub(at, std::min(h.frameLength, window.view().size() - at));
    std::optional<VBRHeader> vbr = parseXing(frame, h);
    if (!vbr) vbr = parseVBRI(frame);

    // A frame that holds a VBR header carries no audio; the one behind it has the stream's
    // own bit rate.
    Frame audio = first;
    if (vbr) {
        const qint64 next = first.offset + h.frameLength;
        if (next <= end - MPEGFrameHeader::kSize) {
            const auto following = headerAt(file, window, next);
            if (following && h.sameStream(*following)) audio = Frame{next, *following};
        }
    }

    AudioProperties props;
    props.sampleRate = h.sampleRate;
    props.channels = h.channels;
    if (vbr && trustworthy(*vbr, h, end - first.offset)) {
        applyVBRHeader(*vbr, first, audio, end, props);
    } else {
        props.bitRate = audio.header.bitRate;
        props.duration = double(end - audio.offset) * 8.0 / double(audio.header.bitRate);
    }
    return props;
}

}  // namespace sonvale
