#include "RIFFReader.h"

namespace sonvale {

std::optional<AudioInfo> RIFFReader::readInfo(const FileBytes&, qint64) { return std::nullopt; }

std::optional<QByteArray> RIFFReader::readPicture(const FileBytes&, qint64) { return std::nullopt; }

}  // namespace sonvale
