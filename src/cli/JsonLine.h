#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace sonvale {

// Builds one JSON object on one line, keeping the keys in the order they are added.
class JsonLine {
public:
    JsonLine& add(const char* key, const QString& value);
    JsonLine& add(const char* key, const std::optional<QString>& value);
    JsonLine& add(const char* key, qint64 value);
    JsonLine& add(const char* key, double value);
    JsonLine& add(const char* key, bool value);
    JsonLine& addNull(const char* key);
    // `json` must already be valid JSON (an array or object built elsewhere).
    JsonLine& addRaw(const char* key, const QByteArray& json);

    QByteArray finish() const { return body_ + '}'; }

    static QByteArray quote(const QString& text);
    static QByteArray number(double value);

private:
    JsonLine& key(const char* name);

    QByteArray body_ = "{";
};

}  // namespace sonvale
