#include "MP4Reader.h"

namespace sonvale {

std::optional<AudioInfo> MP4Reader::readInfo(const FileBytes&, qint64) { return std::nullopt; }

std::optional<QByteArray> MP4Reader::readPicture(const FileBytes&, qint64) { return std::nullopt; }

}  // namespace sonvale
