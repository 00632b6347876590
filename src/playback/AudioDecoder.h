#pragma once

#include <QString>

#include <cstdint>
#include <memory>

namespace sonvale {

class SampleRing;
class StopFlag;

// One open audio file decoded with FFmpeg into interleaved 32-bit float samples at the file's
// own sample rate and channel count.
//
// Threads: open() and the accessors on any thread; run() on one thread at a time, and the
// object is not touched elsewhere while run() is going. Not copyable.
class AudioDecoder {
public:
    // Nullopt-like failure: nullptr with FFmpeg's reason in `error`.
    static std::unique_ptr<AudioDecoder> open(const QString& path, QString* error);
    // The FFmpeg in use, read at run time: its release and the libavformat and libavcodec
    // versions, e.g. "5.1.6 (libavformat 59.27.100, libavcodec 59.37.100)".
    static QString libraryVersion();
    ~AudioDecoder();
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    int sampleRate() const { return rate_; }
    int channels() const { return channels_; }
    // Length in frames as the container states it, from the first frame heard; 0 when unknown.
    std::int64_t lengthFrames() const { return lengthFrames_; }

    // Decodes from `startFrame` (exactly: earlier frames of the block it lands in are dropped)
    // to the end into `ring`, every sample multiplied by `gain` (a linear amplitude factor).
    // While the ring is full it sleeps for about a quarter of the ring's length. Returns true
    // once the file's last sample is in the ring, false when `stop` was set first; the ring's
    // end of input is the caller's to mark, since another file may follow in the same stream.
    bool run(std::int64_t startFrame, SampleRing& ring, const StopFlag& stop, float gain = 1.0f);

private:
    struct Handles;
    explicit AudioDecoder(std::unique_ptr<Handles> handles);
    // Converts the decoder's current frame and queues the part from `startFrame` on; false when
    // cancelled.
    bool deliver(std::int64_t startFrame, SampleRing& ring, const StopFlag& stop, float gain);

    std::unique_ptr<Handles> h_;
    int rate_ = 0;
    int channels_ = 0;
    std::int64_t lengthFrames_ = 0;
    bool lengthExact_ = false;  // read from the container, not estimated from the bit rate
    bool fresh_ = true;         // nothing read since open()
    std::int64_t startOffset_ = 0;  // stream time of the first frame heard
    std::int64_t nextFrame_ = 0;
};

}  // namespace sonvale
