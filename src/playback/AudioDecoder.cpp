#include "AudioDecoder.h"

#include "AudioProbe.h"
#include "SampleRing.h"
#include "StopFlag.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/version.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <chrono>
#include <vector>

namespace sonvale {

namespace {

struct FormatCloser {
    void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
struct CodecFreer {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct SwrFreer {
    void operator()(SwrContext* c) const { swr_free(&c); }
};
struct PacketFreer {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct FrameFreer {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};

// How long the packet of a decoded frame lasted, in stream time: FFmpeg 5.1 has only
// pkt_duration, 6 deprecates it for `duration` (libavutil 57.30.100) and 7 removes it.
std::int64_t frameDuration(const AVFrame* frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return frame->duration;
#else
    return frame->pkt_duration;
#endif
}

// How far before the asked frame decoding starts after a seek.
constexpr std::int64_t kPrerollFrames = 4096;

QString ffmpegError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

}  // namespace

struct AudioDecoder::Handles {
    std::unique_ptr<AVFormatContext, FormatCloser> format;
    std::unique_ptr<AVCodecContext, CodecFreer> codec;
    std::unique_ptr<SwrContext, SwrFreer> swr;
    std::unique_ptr<AVPacket, PacketFreer> packet{av_packet_alloc()};
    std::unique_ptr<AVFrame, FrameFreer> frame{av_frame_alloc()};
    std::vector<float> converted;
    int stream = -1;
};

AudioDecoder::AudioDecoder(std::unique_ptr<Handles> handles) : h_(std::move(handles)) {}

AudioDecoder::~AudioDecoder() = default;

QString AudioDecoder::libraryVersion() {
    // The libraries' version numbers pack major, minor and micro into one integer each.
    const auto dotted = [](unsigned version) {
        return QStringLiteral("%1.%2.%3").arg(AV_VERSION_MAJOR(version)).arg(AV_VERSION_MINOR(version)).arg(AV_VERSION_MICRO(version));
    };
    return QStringLiteral("%1 (libavformat %2, libavcodec %3)")
        .arg(QString::fromUtf8(av_version_info()), dotted(avformat_version()), dotted(avcodec_version()));
}

std::unique_ptr<AudioDecoder> AudioDecoder::open(const QString& path, QString* error) {
    auto fail = [error](const QString& why) {
        if (error) *error = why;
        return nullptr;
    };
    auto h = std::make_unique<Handles>();
    if (!h->packet || !h->frame) return fail(ffmpegError(AVERROR(ENOMEM)));
    AVFormatContext* format = nullptr;
    quietenFFmpegLogging();
    int rc = avformat_open_input(&format, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (rc < 0) return fail(ffmpegError(rc));
    h->format.reset(format);
    if ((rc = avformat_find_stream_info(format, nullptr)) < 0) return fail(ffmpegError(rc));
    const AVCodec* decoder = nullptr;
    h->stream = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (h->stream < 0) return fail(ffmpegError(h->stream));
    const AVStream* stream = format->streams[h->stream];
    h->codec.reset(avcodec_alloc_context3(decoder));
    if (!h->codec) return fail(ffmpegError(AVERROR(ENOMEM)));
    if ((rc = avcodec_parameters_to_context(h->codec.get(), stream->codecpar)) < 0) return fail(ffmpegError(rc));
    if ((rc = avcodec_open2(h->codec.get(), decoder, nullptr)) < 0) return fail(ffmpegError(rc));
    const int rate = h->codec->sample_rate;
    const int channels = h->codec->ch_layout.nb_channels;
    if (rate <= 0 || channels <= 0) return fail(QStringLiteral("No audio format"));

    // Only the sample layout changes: same rate, same channels, so the converter keeps no delay.
    AVChannelLayout layout{};
    if (h->codec->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) av_channel_layout_default(&layout, channels);
    else av_channel_layout_copy(&layout, &h->codec->ch_layout);
    SwrContext* swr = nullptr;
    rc = swr_alloc_set_opts2(&swr, &layout, AV_SAMPLE_FMT_FLT, rate, &layout, h->codec->sample_fmt, rate, 0, nullptr);
    av_channel_layout_uninit(&layout);
    h->swr.reset(swr);
    if (rc < 0 || (rc = swr_init(swr)) < 0) return fail(ffmpegError(rc));

    std::unique_ptr<AudioDecoder> d(new AudioDecoder(std::move(h)));
    d->rate_ = rate;
    d->channels_ = channels;
    // Timestamps count from the encoder's first sample: an MP3 with an encoder-delay header
    // starts later (the delay is dropped by the decoder), and frame 0 is the first one heard.
    if (stream->start_time != AV_NOPTS_VALUE) d->startOffset_ = stream->start_time;
    const std::int64_t offsetFrames = av_rescale_q(d->startOffset_, stream->time_base, AVRational{1, rate});
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
        d->lengthFrames_ = av_rescale_q(stream->duration, stream->time_base, AVRational{1, rate}) - offsetFrames;
    else if (format->duration != AV_NOPTS_VALUE && format->duration > 0)
        d->lengthFrames_ = av_rescale_q(format->duration, AV_TIME_BASE_Q, AVRational{1, rate}) - offsetFrames;
    d->lengthFrames_ = std::max<std::int64_t>(0, d->lengthFrames_);
    d->lengthExact_ = format->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE;
    return d;
}

bool AudioDecoder::run(std::int64_t startFrame, SampleRing& ring, const StopFlag& stop, float gain) {
    AVFormatContext* format = h_->format.get();
    AVStream* stream = format->streams[h_->stream];
    // A lossy decoder needs the blocks before the one it starts with (AAC overlaps every block
    // with the one before, MP3 reaches back into earlier frames): decoding starts earlier and
    // what comes before startFrame is dropped. A file just opened is read from its first packet,
    // whose encoder delay the demuxer marks for the decoder to drop.
    const std::int64_t from = startFrame - kPrerollFrames;
    if (!fresh_ || from > 0) {
        std::int64_t target = av_rescale_q(from, AVRational{1, rate_}, stream->time_base) + startOffset_;
        if (const AVIndexEntry* first = avformat_index_get_entry(stream, 0)) target = std::max(target, first->timestamp);
        if (av_seek_frame(format, h_->stream, target, AVSEEK_FLAG_BACKWARD) < 0)
            av_seek_frame(format, h_->stream, startOffset_, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(h_->codec.get());
    }
    fresh_ = false;
    nextFrame_ = 0;

    bool input = true;
    while (!stop.isSet()) {
        int rc = avcodec_receive_frame(h_->codec.get(), h_->frame.get());
        if (rc == 0) {
            if (!deliver(startFrame, ring, stop, gain)) return false;
            continue;
        }
        if (rc != AVERROR(EAGAIN) || !input) break;
        rc = av_read_frame(format, h_->packet.get());
        if (rc < 0) {
            input = false;
            avcodec_send_packet(h_->codec.get(), nullptr);
            continue;
        }
        if (h_->packet->stream_index == h_->stream) avcodec_send_packet(h_->codec.get(), h_->packet.get());
        av_packet_unref(h_->packet.get());
    }
    return !stop.isSet();
}

bool AudioDecoder::deliver(std::int64_t startFrame, SampleRing& ring, const StopFlag& stop, float gain) {
    AVFrame* frame = h_->frame.get();
    const AVStream* stream = h_->format->streams[h_->stream];
    const AVRational perFrame{1, rate_};
    std::int64_t first = nextFrame_;
    const std::int64_t stamp = frame->best_effort_timestamp;
    if (stamp != AV_NOPTS_VALUE) first = av_rescale_q(stamp - startOffset_, stream->time_base, perFrame);
    const std::int64_t duration = frameDuration(frame);
    const std::int64_t packetFrames = duration > 0 ? av_rescale_q(duration, stream->time_base, perFrame) : 0;
    const std::int64_t statedEnd = packetFrames > 0 ? first + packetFrames : 0;
    // The decoder drops the encoder delay from the front of the first block but leaves its
    // timestamp where the packet began.
    if (stamp != AV_NOPTS_VALUE && stamp < startOffset_ && packetFrames > frame->nb_samples)
        first += packetFrames - frame->nb_samples;
    h_->converted.resize(static_cast<std::size_t>(frame->nb_samples) * static_cast<std::size_t>(channels_));
    auto* out = reinterpret_cast<std::uint8_t*>(h_->converted.data());
    const int count = swr_convert(h_->swr.get(), &out, frame->nb_samples,
                                  const_cast<const std::uint8_t**>(frame->extended_data), frame->nb_samples);
    av_frame_unref(frame);
    if (count <= 0) return true;
    nextFrame_ = first + count;
    // The last packet of AAC in MP4 decodes to a whole block although it lasts only part of
    // one: past the file's length the rest is padding. Where the last packet is stated shorter
    // than the block, its duration marks the end to the sample (an edit list in milliseconds
    // may miss it by one); otherwise the container's length does, unless it was only estimated.
    std::int64_t end = nextFrame_;
    if (lengthFrames_ > 0 && end > lengthFrames_) {
        std::int64_t heardEnd = end;
        if (statedEnd > first && statedEnd < end) heardEnd = statedEnd;
        else if (lengthExact_) heardEnd = lengthFrames_;
        end = std::clamp(heardEnd, first, end);
    }
    const std::int64_t skip = std::clamp<std::int64_t>(startFrame - first, 0, count);
    // Floats carry a gain above 1 past full scale; the server clips them on output.
    if (gain != 1.0f)
        for (float& sample : h_->converted) sample *= gain;
    const float* samples = h_->converted.data() + skip * channels_;
    std::size_t left = static_cast<std::size_t>(std::max<std::int64_t>(0, end - first - skip)) *
                       static_cast<std::size_t>(channels_);
    while (left > 0) {
        const std::size_t pushed = ring.push(samples, left);
        samples += pushed;
        left -= pushed;
        if (left == 0) break;
        // The consumer must never wait for us, so the producer sleeps until a good part of the
        // ring has been played instead of being woken for room.
        const auto quarter = std::chrono::milliseconds(ring.capacity() * 250 / static_cast<std::size_t>(channels_) /
                                                       static_cast<std::size_t>(rate_));
        if (stop.waitFor(std::max(quarter, std::chrono::milliseconds(5)))) return false;
    }
    return !stop.isSet();
}

}  // namespace sonvale
