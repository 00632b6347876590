#include "MediaFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QProcess>

#include <cstdio>

MediaFactory::MediaFactory() : dir_(QDir::tempPath() + QStringLiteral("/sonvale-media-XXXXXX")) {}

bool MediaFactory::run(const QString& program, const QStringList& args) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, args);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "%s %s failed:\n%s\n", qPrintable(program), qPrintable(args.join(QLatin1Char(' '))),
                     process.readAll().constData());
        return false;
    }
    return true;
}

QString MediaFactory::ffmpeg(const QString& name, const QStringList& extra, double seconds, int sampleRate,
                             int channels) {
    const QString out = path(name);
    QDir().mkpath(QFileInfo(out).path());
    QStringList args = {QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                        QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                        QStringLiteral("sine=frequency=440:sample_rate=%1:duration=%2").arg(sampleRate).arg(seconds),
                        QStringLiteral("-ac"), QString::number(channels)};
    args += extra;
    args += out;
    return run(QStringLiteral("ffmpeg"), args) ? out : QString();
}

QStringList MediaFactory::splitSine(const QString& stem, const QString& extension, const QStringList& codec,
                                    double seconds, qint64 split, int sampleRate, int frequency) {
    QStringList out;
    const QString parts[] = {QStringLiteral("atrim=end_sample=%1").arg(split),
                             QStringLiteral("atrim=start_sample=%1,asetpts=PTS-STARTPTS").arg(split)};
    for (int i = 0; i < 2; ++i) {
        out.append(path(QStringLiteral("%1-%2.%3").arg(stem).arg(i + 1).arg(extension)));
        QStringList args = {QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                            QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                            QStringLiteral("aevalsrc=0.5*sin(2*PI*%1*t)|0.5*sin(2*PI*%1*t):s=%2:d=%3")
                                .arg(frequency)
                                .arg(sampleRate)
                                .arg(seconds),
                            QStringLiteral("-af"), parts[i]};
        args += codec;
        args += out.last();
        if (!run(QStringLiteral("ffmpeg"), args)) return {};
    }
    return out;
}

QString MediaFactory::jpeg(const QString& name) {
    const QString out = path(name);
    QDir().mkpath(QFileInfo(out).path());
    const QStringList args = {QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                              QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                              QStringLiteral("-i"), QStringLiteral("testsrc=size=32x32:duration=0.04"),
                              QStringLiteral("-frames:v"), QStringLiteral("1"), out};
    return run(QStringLiteral("ffmpeg"), args) ? out : QString();
}

QString MediaFactory::write(const QString& name, const QByteArray& bytes) {
    const QString out = path(name);
    QDir().mkpath(QFileInfo(out).path());
    QFile file(out);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) return {};
    return out;
}

std::optional<QByteArray> MediaFactory::readAll(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return file.readAll();
}

std::optional<QString> MediaFactory::peerCorpus() {
    const QString dir = QStringLiteral(SONVALE_SHARED_DIR "/corpus/peer");
    if (!QDir(dir).exists()) return std::nullopt;
    return QDir(dir).canonicalPath();
}
