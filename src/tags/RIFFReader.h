#pragma once

#include "AudioInfo.h"
#include "FileBytes.h"

#include <QByteArray>

#include <optional>

namespace sonvale {

class RIFFReader {
public:
    static std::optional<AudioInfo> readInfo(const FileBytes& file, qint64 offset);
    static std::optional<QByteArray> readPicture(const FileBytes& file, qint64 offset);
};

}  // namespace sonvale
