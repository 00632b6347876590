#pragma once

#include <QByteArray>
#include <QString>

#include <utility>
#include <variant>

namespace sonvale {

// A value bound to one `?` parameter of a statement. Text is bound as UTF-8 up to its first
// NUL character; SQLite copies text and blobs while binding, so the value need not outlive the
// bind. The kinds are tried in this order when binding.
class SQLValue {
public:
    enum class Kind { integer, real, text, blob, null };

    static SQLValue integer(qint64 value) { return SQLValue(Payload(std::in_place_index<0>, value)); }
    static SQLValue real(double value) { return SQLValue(Payload(std::in_place_index<1>, value)); }
    static SQLValue text(QString value) { return SQLValue(Payload(std::in_place_index<2>, std::move(value))); }
    static SQLValue blob(QByteArray value) { return SQLValue(Payload(std::in_place_index<3>, std::move(value))); }
    static SQLValue null() { return SQLValue(Payload(std::in_place_index<4>)); }

    Kind kind() const { return static_cast<Kind>(payload_.index()); }

    // The payload of the matching kind; a default value for any other kind.
    qint64 toInteger() const { return get<0>(); }
    double toReal() const { return get<1>(); }
    QString toText() const { return get<2>(); }
    QByteArray toBlob() const { return get<3>(); }

private:
    using Payload = std::variant<qint64, double, QString, QByteArray, std::monostate>;

    explicit SQLValue(Payload payload) : payload_(std::move(payload)) {}

    template <std::size_t I>
    std::variant_alternative_t<I, Payload> get() const {
        const auto* value = std::get_if<I>(&payload_);
        return value ? *value : std::variant_alternative_t<I, Payload>{};
    }

    Payload payload_;
};

}  // namespace sonvale
