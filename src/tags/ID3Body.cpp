#include "ID3Body.h"

#include <algorithm>

namespace sonvale {

ID3Body::ID3Body(const FileBytes& file, qint64 start, qint64 length)
    : file_(&file), start_(start), length_(std::max<qint64>(0, length)) {}

ID3Body::ID3Body(QByteArray bytes) : length_(bytes.size()), bytes_(std::move(bytes)) {}

std::optional<QByteArray> ID3Body::read(qint64 pos, qint64 count) const {
    if (pos < 0 || count < 0 || pos > length_ || count > length_ - pos) return std::nullopt;
    if (!file_) return bytes_.mid(pos, count);
    if (count == 0) return QByteArray();
    return file_->read(start_ + pos, count);
}

std::optional<ByteView> ID3Body::view(qint64 pos, qint64 count, QByteArray& holder) const {
    if (pos < 0 || count < 0 || pos > length_ || count > length_ - pos) return std::nullopt;
    if (!file_) return ByteView(bytes_.constData() + pos, count);
    if (count == 0) return ByteView();
    return file_->view(start_ + pos, count, holder);
}

}  // namespace sonvale
