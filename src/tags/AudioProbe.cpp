#include "AudioProbe.h"

#include <QFile>
#include <QtGlobal>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <dlfcn.h>

#include <memory>

namespace sonvale {

namespace {

// libavformat and libavutil are loaded when first needed rather than linked: the library scan
// needs them only for the rare file its own readers cannot measure, and linking them brings in
// the codecs' whole dependency chain (about 20 MiB resident before main() runs). A program
// that plays audio has them loaded already, and then these are the same copies.
struct FFmpeg {
    decltype(&avformat_open_input) openInput = nullptr;
    decltype(&avformat_find_stream_info) findStreamInfo = nullptr;
    decltype(&avformat_close_input) closeInput = nullptr;
    decltype(&av_rescale_q) rescale = nullptr;
    decltype(&av_log_set_level) setLogLevel = nullptr;
};

template <typename Function>
bool bind(void* library, const char* name, Function& function) {
    function = library ? reinterpret_cast<Function>(::dlsym(library, name)) : nullptr;
    return function != nullptr;
}

// The functions, or nothing when either library cannot be loaded. The libraries stay loaded
// for the life of the process. Thread-safe.
const FFmpeg* ffmpeg() {
    static const std::optional<FFmpeg> loaded = []() -> std::optional<FFmpeg> {
        // The versions this file was built against: their layouts are the ones it reads.
        void* util = ::dlopen("libavutil.so." AV_STRINGIFY(LIBAVUTIL_VERSION_MAJOR), RTLD_NOW | RTLD_LOCAL);
        void* format = ::dlopen("libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR), RTLD_NOW | RTLD_LOCAL);
        FFmpeg functions;
        const bool bound = bind(format, "avformat_open_input", functions.openInput) &&
                           bind(format, "avformat_find_stream_info", functions.findStreamInfo) &&
                           bind(format, "avformat_close_input", functions.closeInput) &&
                           bind(util, "av_rescale_q", functions.rescale) &&
                           bind(util, "av_log_set_level", functions.setLogLevel);
        if (!bound) {
            // Said once: the files that need the probe are then stored without their length.
            const char* why = ::dlerror();
            qWarning("Cannot load libavformat: %s", why ? why : "a function is missing");
            return std::nullopt;
        }
        // Bad and odd files are expected; the program reports what matters itself.
        functions.setLogLevel(AV_LOG_QUIET);
        return functions;
    }();
    return loaded ? &*loaded : nullptr;
}

struct FormatContextCloser {
    void operator()(AVFormatContext* context) const { ffmpeg()->closeInput(&context); }
};
using FormatContext = std::unique_ptr<AVFormatContext, FormatContextCloser>;

FormatContext openInput(const FFmpeg& functions, const QByteArray& path) {
    AVFormatContext* raw = nullptr;
    if (functions.openInput(&raw, path.constData(), nullptr, nullptr) < 0) return nullptr;
    return FormatContext(raw);
}

qint64 lengthInFrames(const FFmpeg& functions, const AVFormatContext& context, const AVStream& stream,
                      int sampleRate) {
    if (stream.duration != AV_NOPTS_VALUE && stream.duration > 0) {
        return functions.rescale(stream.duration, stream.time_base, AVRational{1, sampleRate});
    }
    if (context.duration != AV_NOPTS_VALUE && context.duration > 0) {
        return functions.rescale(context.duration, AV_TIME_BASE_Q, AVRational{1, sampleRate});
    }
    return 0;
}

}  // namespace

void quietenFFmpegLogging() { ffmpeg(); }

std::optional<AudioProbe::Format> AudioProbe::probe(const QString& path) {
    const FFmpeg* functions = ffmpeg();
    if (!functions) return std::nullopt;
    FormatContext context = openInput(*functions, QFile::encodeName(path));
    if (!context) return std::nullopt;
    if (functions->findStreamInfo(context.get(), nullptr) < 0) return std::nullopt;
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
    if (codec.sample_rate > 0) format.frames = lengthInFrames(*functions, *context, stream, codec.sample_rate);
    return format;
}

}  // namespace sonvale
