#include "ID3Genre.h"

#include <iterator>

namespace sonvale::ID3Genre {

namespace {

// ID3v1 genres 0-79, then the Winamp extensions.
constexpr const char* kGenres[] = {
    "Blues", "Classic Rock", "Country", "Dance", "Disco", "Funk", "Grunge", "Hip-Hop", "Jazz", "Metal",
    "New Age", "Oldies", "Other", "Pop", "R&B", "Rap", "Reggae", "Rock", "Techno", "Industrial",
    "Alternative", "Ska", "Death Metal", "Pranks", "Soundtrack", "Euro-Techno", "Ambient", "Trip-Hop",
    "Vocal", "Jazz+Funk", "Fusion", "Trance", "Classical", "Instrumental", "Acid", "House", "Game",
    "Sound Clip", "Gospel", "Noise", "Alternative Rock", "Bass", "Soul", "Punk", "Space", "Meditative",
    "Instrumental Pop", "Instrumental Rock", "Ethnic", "Gothic", "Darkwave", "Techno-Industrial",
    "Electronic", "Pop-Folk", "Eurodance", "Dream", "Southern Rock", "Comedy", "Cult", "Gangsta",
    "Top 40", "Christian Rap", "Pop/Funk", "Jungle", "Native American", "Cabaret", "New Wave",
    "Psychedelic", "Rave", "Showtunes", "Trailer", "Lo-Fi", "Tribal", "Acid Punk", "Acid Jazz", "Polka",
    "Retro", "Musical", "Rock & Roll", "Hard Rock",
    // 80
    "Folk", "Folk-Rock", "National Folk", "Swing", "Fast Fusion", "Bebop", "Latin", "Revival", "Celtic",
    "Bluegrass", "Avantgarde", "Gothic Rock", "Progressive Rock", "Psychedelic Rock", "Symphonic Rock",
    "Slow Rock", "Big Band", "Chorus", "Easy Listening", "Acoustic", "Humour", "Speech", "Chanson",
    "Opera", "Chamber Music", "Sonata", "Symphony", "Booty Bass", "Primus", "Porn Groove", "Satire",
    "Slow Jam", "Club", "Tango", "Samba", "Folklore", "Ballad", "Power Ballad", "Rhythmic Soul",
    "Freestyle", "Duet", "Punk Rock", "Drum Solo", "A Cappella", "Euro-House", "Dance Hall", "Goa",
    "Drum & Bass", "Club-House", "Hardcore", "Terror", "Indie", "BritPop", "Afro-Punk", "Polsk Punk",
    "Beat", "Christian Gangsta Rap", "Heavy Metal", "Black Metal", "Crossover", "Contemporary Christian",
    "Christian Rock", "Merengue", "Salsa", "Thrash Metal", "Anime", "JPop", "Synthpop",
    // 148
    "Abstract", "Art Rock", "Baroque", "Bhangra", "Big Beat", "Breakbeat", "Chillout", "Downtempo", "Dub",
    "EBM", "Eclectic", "Electro", "Electroclash", "Emo", "Experimental", "Garage", "Global", "IDM",
    "Illbient", "Industro-Goth", "Jam Band", "Krautrock", "Leftfield", "Lounge", "Math Rock",
    "New Romantic", "Nu-Breakz", "Post-Punk", "Post-Rock", "Psytrance", "Shoegaze", "Space Rock",
    "Trop Rock", "World Music", "Neoclassical", "Audiobook", "Audio Theatre", "Neue Deutsche Welle",
    "Podcast", "Indie Rock", "G-Funk", "Dubstep", "Garage Rock", "Psybient",
};
static_assert(std::size(kGenres) == 192);

// Reference numbers are short; a longer run of digits is no reference.
constexpr qsizetype kMaxDigits = 3;

bool isDigits(QStringView text) {
    if (text.isEmpty() || text.size() > kMaxDigits) return false;
    for (QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9')) return false;
    }
    return true;
}

// The genre a reference such as "13", "RX" or "CR" stands for. `known` says whether the text
// is a reference at all, even one to an unknown number.
std::optional<QString> reference(QStringView text, bool& known) {
    known = true;
    if (text == QLatin1String("RX")) return QStringLiteral("Remix");
    if (text == QLatin1String("CR")) return QStringLiteral("Cover");
    if (isDigits(text)) return name(text.toInt());
    known = false;
    return std::nullopt;
}

}  // namespace

std::optional<QString> name(qint64 index) {
    if (index < 0 || index >= qint64(std::size(kGenres))) return std::nullopt;
    return QString::fromLatin1(kGenres[index]);
}

std::optional<QString> resolve(const QString& value) {
    const QString text = value.trimmed();
    bool known = false;
    if (auto genre = reference(text, known); known) return genre;

    // ID3v2.3 style: "(n)" references, possibly several, possibly followed by a refinement.
    std::optional<QString> first;
    qsizetype p = 0;
    while (p < text.size() && text[p] == QLatin1Char('(') && !text.mid(p).startsWith(QLatin1String("(("))) {
        const qsizetype close = text.indexOf(QLatin1Char(')'), p);
        if (close < 0) break;
        auto genre = reference(QStringView(text).mid(p + 1, close - p - 1), known);
        if (!known) break;
        if (!first) first = std::move(genre);
        p = close + 1;
    }
    QString rest = text.mid(p).trimmed();
    if (rest.startsWith(QLatin1String("(("))) rest.remove(0, 1);
    if (!rest.isEmpty()) return rest;
    return first;
}

}  // namespace sonvale::ID3Genre
