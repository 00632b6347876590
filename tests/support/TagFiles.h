#pragma once

#include "FileBytes.h"
#include "MediaFactory.h"

// Runs the tag readers on files: `reader` is any of their read functions that take a file and
// an offset (readInfo, readPicture, readTag). Nothing when the file cannot be opened.
template <typename Result>
using TagReader = std::optional<Result> (*)(const sonvale::FileBytes&, qint64);

template <typename Result>
std::optional<Result> readFile(const QString& path, TagReader<Result> reader, qint64 offset = 0) {
    const auto file = sonvale::FileBytes::open(path);
    return file ? reader(*file, offset) : std::nullopt;
}

// ffmpeg arguments that set each "key=value" of `entries` as file metadata.
inline QStringList metadata(const QStringList& entries) {
    QStringList args;
    for (const QString& entry : entries) args << QStringLiteral("-metadata") << entry;
    return args;
}

// Files made of given bytes, each in a new file of the factory's folder.
class TagFiles {
public:
    QString write(const QByteArray& bytes) { return media.write(QStringLiteral("f%1").arg(count_++), bytes); }
    std::optional<sonvale::FileBytes> open(const QByteArray& bytes) { return sonvale::FileBytes::open(write(bytes)); }
    template <typename Result>
    std::optional<Result> read(const QByteArray& bytes, TagReader<Result> reader, qint64 offset = 0) {
        return readFile(write(bytes), reader, offset);
    }
    // The same, or an empty result when the reader fails.
    template <typename Result>
    Result value(const QByteArray& bytes, TagReader<Result> reader, qint64 offset = 0) {
        return read(bytes, reader, offset).value_or(Result{});
    }

    MediaFactory media;

private:
    int count_ = 0;
};
