#include "ID3Body.h"

#include <algorithm>

namespace sonvale {

ID3Body::ID3Body(const FileBytes& file, qint64 start, qint64 length)
    : file_(&file), start_(start), length_(std::max<qint64>(0, length)) {}

ID3Body::ID3Body(QByteArray bytes) : length_(bytes.size()), window_(std::move(bytes)) {}

std::optional<QByteArray> ID3Body::read(qint64 pos, qint64 count) {
    if (pos < 0 || count < 0 || pos > length_ || count > length_ - pos) return std::nullopt;
    if (pos >= windowPos_ && pos - windowPos_ + count <= window_.size()) return window_.mid(pos - windowPos_, count);
    if (!file_) return std::nullopt;
    // Small tags lie wholly in the bytes the file keeps from its start.
    if (file_->inHead(start_ + pos, count)) return file_->read(start_ + pos, count);
    // Large ranges (pictures) bypass the window, so it keeps the frame headers around it.
    if (count > kWindow) return file_->read(start_ + pos, count);
    auto bytes = file_->read(start_ + pos, std::min(kWindow, length_ - pos));
    if (!bytes) return std::nullopt;
    window_ = std::move(*bytes);
    windowPos_ = pos;
    return window_.left(count);
}

}  // namespace sonvale
