#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>

// Makes real media files for tests, with the encoders the install script provides, in a
// temporary folder that lives as long as the factory; a `name` may hold folders, made as needed.
class MediaFactory {
public:
    MediaFactory();

    QString dir() const { return dir_.path(); }
    QString path(const QString& name) const { return dir_.filePath(name); }

    // Runs a program to completion; false (with its output printed) when it fails.
    static bool run(const QString& program, const QStringList& args);

    // A sine tone encoded by ffmpeg into `name` (by the codec its extension implies); `extra` goes
    // before the output name (codec, metadata, -id3v2_version, ...). Empty path on failure.
    QString ffmpeg(const QString& name, const QStringList& extra, double seconds = 1.0,
                   int sampleRate = 44100, int channels = 2);
    // A stereo sine of `frequency` Hz and `seconds` (half of full scale) cut at frame `split` into two
    // files, `stem`-1.`extension` and `stem`-2.`extension`, each encoded with `codec`; played one
    // after the other without a gap they make the whole sine again. Empty list on failure.
    QStringList splitSine(const QString& stem, const QString& extension, const QStringList& codec, double seconds,
                          qint64 split, int sampleRate = 44100, int frequency = 440);
    // A small JPEG picture made by ffmpeg.
    QString jpeg(const QString& name);

    QString write(const QString& name, const QByteArray& bytes);
    static std::optional<QByteArray> readAll(const QString& path);

    // Where the third-party robustness media lives, when it is present.
    static std::optional<QString> peerCorpus();

private:
    QTemporaryDir dir_;
};
