#include "JsonLine.h"

#include <charconv>
#include <cmath>

namespace sonvale {

QByteArray JsonLine::quote(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    QByteArray out;
    out.reserve(utf8.size() + 2);
    out += '"';
    for (const char c : utf8) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                out += "\\u00";
                out += QByteArray::number(static_cast<unsigned char>(c), 16).rightJustified(2, '0');
            } else {
                out += c;
            }
        }
    }
    out += '"';
    return out;
}

QByteArray JsonLine::number(double value) {
    // JSON has no NaN or infinity; such a value means "unknown" here.
    if (!std::isfinite(value)) return "0";
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QByteArray(buffer, result.ptr - buffer);
}

JsonLine& JsonLine::key(const char* name) {
    if (body_.size() > 1) body_ += ',';
    body_ += quote(QString::fromUtf8(name));
    body_ += ':';
    return *this;
}

JsonLine& JsonLine::add(const char* name, const QString& value) {
    key(name).body_ += quote(value);
    return *this;
}

JsonLine& JsonLine::add(const char* name, const std::optional<QString>& value) {
    return value ? add(name, *value) : addNull(name);
}

JsonLine& JsonLine::add(const char* name, qint64 value) {
    key(name).body_ += QByteArray::number(value);
    return *this;
}

JsonLine& JsonLine::add(const char* name, double value) {
    key(name).body_ += number(value);
    return *this;
}

JsonLine& JsonLine::add(const char* name, bool value) {
    key(name).body_ += value ? "true" : "false";
    return *this;
}

JsonLine& JsonLine::addNull(const char* name) {
    key(name).body_ += "null";
    return *this;
}

JsonLine& JsonLine::addRaw(const char* name, const QByteArray& json) {
    key(name).body_ += json;
    return *this;
}

}  // namespace sonvale
