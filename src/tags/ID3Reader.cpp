#include "ID3Reader.h"

namespace sonvale {

std::optional<ID3Tag> ID3Reader::readTag(const FileBytes&, qint64) { return std::nullopt; }

std::optional<AudioInfo> ID3Reader::readInfo(const FileBytes&, qint64) { return std::nullopt; }

std::optional<QByteArray> ID3Reader::readPicture(const FileBytes&, qint64) { return std::nullopt; }

}  // namespace sonvale
