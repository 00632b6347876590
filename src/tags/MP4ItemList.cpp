#include "MP4ItemList.h"

#include "Format.h"
#include "ID3Genre.h"
#include "MP4Atom.h"

#include <QStringDecoder>
#include <QVarLengthArray>

namespace sonvale {

namespace {

// Well-known type indicators of a data atom.
enum DataType : uint32_t { Utf8 = 1, Utf16 = 2, Utf8Sort = 4, Utf16Sort = 5 };

struct DataValue {
    uint32_t type = 0;
    ByteView value;
};

// Kept on the stack: nearly every item holds a single value.
using DataValues = QVarLengthArray<DataValue, 4>;

DataValues dataValues(ByteView item) {
    DataValues values;
    for (const MP4Atom& atom : MP4Atoms::children(item)) {
        if (atom.type != atomType("data")) continue;
        const ByteView body = *item.sub(atom.offset, atom.size);
        // Type indicator (a reserved byte and 24 bits of type), then the locale.
        if (body.size() < 8) continue;
        values.append({*body.be32(0) & 0xFFFFFF, *body.from(8)});
    }
    return values;
}

// Strict UTF-8 without a decoder object, which costs more than the usual short value; a
// leading byte-order mark is dropped as the decoder would.
std::optional<QString> decodeUtf8(ByteView bytes) {
    if (bytes.startsWith("\xEF\xBB\xBF")) bytes = *bytes.from(3);
    const QByteArrayView view(bytes.data(), bytes.size());
    if (!view.isValidUtf8()) return std::nullopt;
    return QString::fromUtf8(view);
}

std::optional<QString> decode(ByteView bytes, QStringDecoder::Encoding encoding) {
    QStringDecoder decoder(encoding, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(QByteArrayView(bytes.data(), bytes.size()));
    if (decoder.hasError()) return std::nullopt;
    return text;
}

// The trimmed text of a text value; nothing for other types, bad encodings and empty texts.
std::optional<QString> textOf(const DataValue& data) {
    std::optional<QString> text;
    if (data.type == Utf8 || data.type == Utf8Sort) text = decodeUtf8(data.value);
    if (data.type == Utf16 || data.type == Utf16Sort) text = decode(data.value, QStringDecoder::Utf16BE);
    if (!text) return std::nullopt;
    QString trimmed = trimTagText(*text);
    if (trimmed.isEmpty()) return std::nullopt;
    return trimmed;
}

std::optional<QString> firstText(const DataValues& values) {
    for (const DataValue& data : values) {
        if (auto text = textOf(data)) return text;
    }
    return std::nullopt;
}

// Binary track numbers are two reserved bytes, the number and the total, each 16-bit.
std::optional<QString> trackNumber(const DataValues& values) {
    for (const DataValue& data : values) {
        std::optional<QString> number;
        if (const auto text = textOf(data)) {
            number = Format::normalizeTrackNumber(*text);
        } else if (const auto binary = data.value.be16(2)) {
            number = Format::normalizeTrackNumber(QString::number(*binary));
        }
        if (number) return number;
    }
    return std::nullopt;
}

// A numeric genre is the ID3v1 genre number plus one.
std::optional<QString> numericGenre(const DataValues& values) {
    for (const DataValue& data : values) {
        const std::optional<uint16_t> number =
            data.value.size() >= 2 ? data.value.be16(0) : std::optional<uint16_t>(data.value.u8(0));
        if (!number) continue;
        if (auto name = ID3Genre::name(int(*number) - 1)) return name;
    }
    return std::nullopt;
}

// The items readTags() looks at; the values of the others (cover, tool, sort names) are not
// even listed.
bool isReadItem(uint32_t type) {
    switch (type) {
    case atomType("\251nam"):
    case atomType("\251ART"):
    case atomType("\251alb"):
    case atomType("trkn"):
    case atomType("\251gen"):
    case atomType("gnre"):
    case atomType("\251lyr"): return true;
    default: return false;
    }
}

}  // namespace

AudioTags MP4ItemList::readTags(ByteView ilst) {
    AudioTags tags;
    std::optional<QString> textGenre;
    std::optional<QString> idGenre;
    for (const MP4Atom& item : MP4Atoms::children(ilst)) {
        if (!isReadItem(item.type)) continue;
        const DataValues values = dataValues(*ilst.sub(item.offset, item.size));
        switch (item.type) {
        case atomType("\251nam"):
            if (!tags.title) tags.title = firstText(values);
            break;
        case atomType("\251ART"):
            for (const DataValue& data : values) {
                if (auto text = textOf(data)) tags.artists.append(*text);
            }
            break;
        case atomType("\251alb"):
            if (!tags.album) tags.album = firstText(values);
            break;
        case atomType("trkn"):
            if (!tags.trackNumber) tags.trackNumber = trackNumber(values);
            break;
        case atomType("\251gen"):
            if (!textGenre) textGenre = firstText(values);
            break;
        case atomType("gnre"):
            if (!idGenre) idGenre = numericGenre(values);
            break;
        case atomType("\251lyr"):
            if (!tags.lyrics) tags.lyrics = firstText(values);
            break;
        default:
            break;
        }
    }
    tags.genre = textGenre ? textGenre : idGenre;
    return tags;
}

void MP4ItemList::offerFreeform(ByteView item, ReplayGainTags& tags) {
    // The name atom holds version and flags, then the name.
    const auto name = MP4Atoms::child(item, atomType("name"));
    const auto nameText = name ? name->from(4) : std::nullopt;
    if (!nameText || !ReplayGainTags::isGainName(QByteArrayView(nameText->data(), nameText->size()))) return;
    if (const auto value = firstText(dataValues(item))) {
        tags.offer(QByteArrayView(nameText->data(), nameText->size()), value->toUtf8());
    }
}

std::optional<ByteView> MP4ItemList::firstCoverView(ByteView ilst) {
    for (const MP4Atom& item : MP4Atoms::children(ilst)) {
        if (item.type != atomType("covr")) continue;
        for (const DataValue& data : dataValues(*ilst.sub(item.offset, item.size))) {
            if (!data.value.empty()) return data.value;
        }
    }
    return std::nullopt;
}

std::optional<QByteArray> MP4ItemList::firstCover(ByteView ilst) {
    const auto cover = firstCoverView(ilst);
    return cover ? std::optional<QByteArray>(cover->toByteArray()) : std::nullopt;
}

}  // namespace sonvale
