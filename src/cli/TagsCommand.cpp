#include "TagsCommand.h"

#include "AudioFileType.h"
#include "FileBytes.h"
#include "JsonLine.h"
#include "Track.h"
#include "TrackMetadata.h"

#include <QFileInfo>

namespace sonvale {

namespace {

QByteArray chaptersJson(const QList<Chapter>& chapters) {
    QByteArray json = "[";
    for (const Chapter& chapter : chapters) {
        if (json.size() > 1) json += ',';
        json += JsonLine()
                    .add("start", chapter.start)
                    .add("end", chapter.end)
                    .add("title", chapter.title)
                    .finish();
    }
    return json + ']';
}

QByteArray record(const QString& given) {
    Track track(QFileInfo(given).absoluteFilePath());
    const auto file = FileBytes::open(track.path);
    const DetectedType detected = file ? detectFileType(*file) : DetectedType{};
    std::optional<AudioInfo> info;
    if (const auto values = fileResourceValues(track.path)) info = reloadMetadata(track, *values);
    const std::optional<QByteArray> artwork = loadArtworkData(track.path);

    JsonLine line;
    line.add("path", given)
        .add("fileType", fileTypeName(detected.type))
        .add("offset", detected.offset)
        .add("title", track.title)
        .add("artist", track.artist)
        .add("album", track.album)
        .add("track", track.track)
        .add("duration", track.duration)
        .add("bitRate", track.bitRate)
        .add("sampleRate", track.sampleRate)
        .add("channels", track.channels)
        .add("size", track.size)
        .add("timestamp", track.timestamp)
        .add("metaVersion", track.metaVersion)
        .add("lyrics", track.lyrics)
        .addRaw("chapters", chaptersJson(track.chapters))
        .add("genre", info ? info->tags.genre : std::nullopt)
        .add("hasArtwork", info && info->hasArtwork);
    if (artwork) {
        line.add("artworkBytes", qint64(artwork->size()));
    } else {
        line.addNull("artworkBytes");
    }
    return line.finish() + '\n';
}

}  // namespace

int TagsCommand::run(const CommandContext& context) {
    if (context.args.isEmpty()) {
        std::fputs("sonvale-cli tags: no FILE given\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    int status = 0;
    for (const QString& given : context.args) {
        if (!QFileInfo::exists(given)) {
            std::fprintf(context.err, "sonvale-cli tags: %s: no such file\n", given.toLocal8Bit().constData());
            status = 1;
            continue;
        }
        const QByteArray line = record(given);
        std::fwrite(line.constData(), 1, line.size(), context.out);
    }
    return status;
}

}  // namespace sonvale
