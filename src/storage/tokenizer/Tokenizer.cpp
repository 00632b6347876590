#include "Tokenizer.h"

#include <QLatin1String>
#include <QStringView>

#include <algorithm>
#include <iterator>

namespace sonvale {

namespace {

constexpr char32_t kCapitalSigma = 0x03A3;
constexpr char32_t kFinalSigma = 0x03C2;

struct Contraction {
    QLatin1String pattern;
    QLatin1String replacement;
};

// Applied in this order to the whole text. The patterns overlap on purpose: "on't" covers
// both "don't" and "won't".
constexpr Contraction kContractions[] = {
    {QLatin1String("on't"), QLatin1String("ont")},
    {QLatin1String("dn't"), QLatin1String("dnt")},
    {QLatin1String("ould've"), QLatin1String("ouldve")},
    {QLatin1String("they've"), QLatin1String("theyve")},
    {QLatin1String("they're"), QLatin1String("theyre")},
    {QLatin1String("we've"), QLatin1String("weve")},
    {QLatin1String("we're"), QLatin1String("were")},
    {QLatin1String("ain't"), QLatin1String("aint")},
    {QLatin1String("i've"), QLatin1String("ive")},
    {QLatin1String("i'm"), QLatin1String("im")},
    {QLatin1String("i'd"), QLatin1String("id")},
};

bool isAscii(QStringView text) {
    // No early exit: the compiler turns this into a vector loop.
    char16_t bits = 0;
    for (const QChar c : text) bits |= c.unicode();
    return bits < 0x80;
}

char16_t asciiLower(char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 0x20) : c; }

QString asciiLower(QStringView text) {
    QString out(text.size(), Qt::Uninitialized);
    char16_t* data = reinterpret_cast<char16_t*>(out.data());
    for (qsizetype i = 0; i < text.size(); ++i) data[i] = asciiLower(text[i].unicode());
    return out;
}

// The code point that starts at text[i]; moves i past it. A lone surrogate stands for itself.
char32_t nextCodePoint(QStringView text, qsizetype& i) {
    const QChar c = text[i++];
    if (c.isHighSurrogate() && i < text.size() && text[i].isLowSurrogate()) {
        return QChar::surrogateToUcs4(c, text[i++]);
    }
    return c.unicode();
}

// The code point that ends just before text[i]; moves i to its start.
char32_t previousCodePoint(QStringView text, qsizetype& i) {
    const QChar c = text[--i];
    if (c.isLowSurrogate() && i > 0 && text[i - 1].isHighSurrogate()) {
        --i;
        return QChar::surrogateToUcs4(text[i], c);
    }
    return c.unicode();
}

void appendCodePoint(QString& out, char32_t c) {
    if (QChar::requiresSurrogates(c)) {
        out.append(QChar(QChar::highSurrogate(c)));
        out.append(QChar(QChar::lowSurrogate(c)));
    } else {
        out.append(QChar(char16_t(c)));
    }
}

// A letter with case, or a character with a case mapping (Roman numerals, circled letters).
bool isCased(char32_t c) {
    return QChar::isLower(c) || QChar::isUpper(c) || QChar::isTitleCase(c) ||
           QChar::toLower(c) != c || QChar::toUpper(c) != c;
}

// Characters that do not break a word for casing: marks, format characters, modifiers, and the
// apostrophes, dots and colons that may sit inside a word.
bool isCaseIgnorable(char32_t c) {
    switch (QChar::category(c)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:  // folded away before lower-casing
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
    case QChar::Letter_Modifier:
    case QChar::Symbol_Modifier:
        return true;
    default:
        break;
    }
    static constexpr char32_t kInsideWord[] = {0x0027, 0x002E, 0x003A, 0x00B7, 0x0387, 0x055F,
                                               0x05F4, 0x2018, 0x2019, 0x2024, 0x2027, 0xFE13,
                                               0xFE52, 0xFE55, 0xFF07, 0xFF0E, 0xFF1A};
    return std::find(std::begin(kInsideWord), std::end(kInsideWord), c) != std::end(kInsideWord);
}

bool casedBefore(QStringView text, qsizetype i) {
    while (i > 0) {
        const char32_t c = previousCodePoint(text, i);
        if (isCased(c)) return true;
        if (!isCaseIgnorable(c)) return false;
    }
    return false;
}

bool casedAfter(QStringView text, qsizetype i) {
    while (i < text.size()) {
        const char32_t c = nextCodePoint(text, i);
        if (isCased(c)) return true;
        if (!isCaseIgnorable(c)) return false;
    }
    return false;
}

// Unicode lower-casing turns a capital sigma that ends a word into the final form.
bool endsWord(QStringView text, qsizetype start, qsizetype end) {
    return casedBefore(text, start) && !casedAfter(text, end);
}

// Diacritic folding and lower-casing for text beyond ASCII. Every mark goes, not only the
// accents of Latin letters, so composed and decomposed spellings always meet.
QString foldAndLower(const QString& text) {
    const QString decomposed = text.normalized(QString::NormalizationForm_D);
    QString out;
    out.reserve(decomposed.size());
    for (qsizetype i = 0; i < decomposed.size();) {
        const qsizetype start = i;
        const char32_t c = nextCodePoint(decomposed, i);
        if (QChar::isMark(c)) continue;
        const bool finalSigma = c == kCapitalSigma && endsWord(decomposed, start, i);
        appendCodePoint(out, finalSigma ? kFinalSigma : QChar::toLower(c));
    }
    return out;
}

void joinContractions(QString& text) {
    if (!text.contains(u'\'')) return;
    for (const Contraction& c : kContractions) text.replace(c.pattern, c.replacement);
}

// The length of `text` without its trailing slashes and without the last extension of its last
// path component. A component whose only dot comes first (".tiff") has no extension; a lone "/"
// stays.
qsizetype lengthWithoutExtension(QStringView text) {
    qsizetype end = text.size();
    while (end > 1 && text[end - 1] == u'/') --end;
    const QStringView path = text.first(end);
    const qsizetype componentStart = path.lastIndexOf(u'/') + 1;
    const qsizetype dot = path.lastIndexOf(u'.');
    return dot > componentStart ? dot : end;
}

// Letters and numbers of any script. Marks belong to words too, but folding has already
// removed them from the text that is split.
bool isAlphanumeric(char32_t c) {
    if (c < 0x80) return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    return QChar::isLetterOrNumber(c);
}

// Calls onWord(word) for every maximal run of letters and digits in `text`.
template <typename OnWord>
void forEachWord(QStringView text, OnWord onWord) {
    qsizetype start = -1;
    for (qsizetype i = 0; i < text.size();) {
        const qsizetype at = i;
        const bool inWord = isAlphanumeric(nextCodePoint(text, i));
        if (inWord && start < 0) {
            start = at;
        } else if (!inWord && start >= 0) {
            onWord(text.sliced(start, at - start));
            start = -1;
        }
    }
    if (start >= 0) onWord(text.sliced(start));
}

}  // namespace

QString normalize(const QString& text) {
    QString out = isAscii(text) ? asciiLower(text) : foldAndLower(text);
    joinContractions(out);
    out.truncate(lengthWithoutExtension(out));
    return out;
}

void insertTokens(const QString& text, QSet<QString>& into) {
    if (isAscii(text) && !text.contains(u'\'')) {
        // Nothing to fold and no contraction: the words come lower-cased straight from the
        // input, without an intermediate copy.
        const QStringView stem = QStringView(text).first(lengthWithoutExtension(text));
        forEachWord(stem, [&](QStringView word) { into.insert(asciiLower(word)); });
        return;
    }
    const QString normalized = normalize(text);
    forEachWord(normalized, [&](QStringView word) { into.insert(word.toString()); });
}

QSet<QString> tokens(const QString& text) {
    QSet<QString> result;
    insertTokens(text, result);
    return result;
}

}  // namespace sonvale
