#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>

// Makes real media files for tests, with the encoders the install script provides, in a
// temporary folder that lives as long as the factory.
class MediaFactory {
public:
    MediaFactory();

    QString dir() const { return dir_.path(); }
    QString path(const QString& name) const { return dir_.filePath(name); }

    // Runs a program to completion; false (with its output printed) when it fails.
    static bool run(const QString& program, const QStringList& args);

    // A sine tone encoded by ffmpeg into `name`; `extra` goes before the output name
    // (codec, metadata, -id3v2_version, ...). Empty path on failure.
    QString ffmpeg(const QString& name, const QStringList& extra, double seconds = 1.0,
                   int sampleRate = 44100, int channels = 2);
    // A small JPEG picture made by ffmpeg.
    QString jpeg(const QString& name);

    QString write(const QString& name, const QByteArray& bytes);
    static std::optional<QByteArray> readAll(const QString& path);

    // Where the third-party robustness media lives, when it is present.
    static std::optional<QString> peerCorpus();

private:
    QTemporaryDir dir_;
};
