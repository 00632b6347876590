#include "AudioProbe.h"

#include <QFile>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <memory>
#include <mutex>

namespace sonvale {

namespace {

struct FormatContextCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using FormatContext = std::unique_ptr<AVFormatContext, FormatContextCloser>;

FormatContext openInput(const QByteArray& path) {
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.constData(), nullptr, nullptr) < 0) return nullptr;
    return FormatContext(raw);
}

qint64 lengthInFrames(const AVFormatContext& context, const AVStream& stream, int sampleRate) {
    if (stream.duration != AV_NOPTS_VALUE && stream.duration > 0) {
        return av_rescale_q(stream.duration, stream.time_base, AVRational{1, sampleRate});
    }
    if (context.duration != AV_NOPTS_VALUE && context.duration > 0) {
        return av_rescale_q(context.duration, AV_TIME_BASE_Q, AVRational{1, sampleRate});
    }
    return 0;
}

}  // namespace

void quietenFFmpegLogging() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

std::optional<AudioProbe::Format> AudioProbe::probe(const QString& path) {
    quietenFFmpegLogging();
    FormatContext context = openInput(QFile::encodeName(path));
    if (!context) return std::nullopt;
    if (avformat_find_stream_info(context.get(), nullptr) < 0) return std::nullopt;
    const AVStream* audio = nullptr;
    for (unsigned i = 0; i < context->nb_streams && !audio; ++i) {
        if (context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) audio = context->streams[i];
    }
    if (!audio) return std::nullopt;
    const AVStream& stream = *audio;
    const AVCodecParameters& codec = *stream.codecpar;
    Format format;
    format.sampleRate = codec.sample_rate;
    format.channels = codec.ch_layout.nb_channels;
    if (codec.sample_rate > 0) format.frames = lengthInFrames(*context, stream, codec.sample_rate);
    return format;
}

}  // namespace sonvale
