#include "Tokenizer.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <utility>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

QSet<QString> words(const char* spaceSeparated) {
    const QStringList list = QString::fromUtf8(spaceSeparated).split(u' ', Qt::SkipEmptyParts);
    return QSet<QString>(list.begin(), list.end());
}

}  // namespace

TEST(Tokenizer, NormalizeFoldsTextAndDropsOnlyTheLastExtensionOfTheLastComponent) {
    const std::pair<const char*, const char*> cases[] = {
        {"Ångström ǖ İstanbul Йод Ev\u0301\u0323a BEYONCE\u0301", "angstrom u istanbul иод eva beyonce"},
        // A capital sigma ending a word takes the final form.
        {"Σ ΑΣ'Β Α'Σ", "σ ασ'β α'ς"},
        {"a.b.c", "a.b"},
        {"/Music/X.Y/Track", "/music/x.y/track"},
        {"/Music/Album.dir//", "/music/album"},
        {"scratch..tiff", "scratch."},
        {"/", "/"},
    };
    for (const auto& [text, normalized] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(normalize(QString::fromUtf8(text)), QString::fromUtf8(normalized));
    }
}

TEST(Tokenizer, TokensAreTheRunsOfLettersAndDigitsOfEveryScript) {
    const std::pair<const char*, const char*> cases[] = {
        {"/Music/Zoë Keating/Début/01 Human Behaviour.flac", "music zoe keating debut 01 human behaviour"},
        // Contractions lose only the ASCII apostrophe.
        {"I'm sure they've said we're fine, I'd think you couldn't and won't",
         "im sure theyve said were fine id think you couldnt and wont"},
        {"It's rock 'n' roll DON’T", "it s rock n roll don t"},
        {"ΟΔΟΣ ΣΑΣ", "οδος σας"},
        {"東京事変 – 2024, Кино: крови; أغنية ٣٤", "東京事変 2024 кино крови اغنية ٣٤"},
        {"\U00020000\U0001D400!x", "\U00020000\U0001D400 x"},
        {"AC/DC Vol.2 / Mr. Brightside", "ac dc vol 2 mr"},
        {"Hello-World_x+y (Live) [2] a🎵b\u00A0c\u3000d\u200Be", "hello world x y live 2 a b c d e"},
        {" \t\n-/.,!?…’🎵 ♪ ★\u00A0\u3000'", ""},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(tokens(QString::fromUtf8(text)), words(expected));
    }
    // Hangul syllables come out as their jamo, which composition restores.
    const QSet<QString> korean = tokens(u"노래"_s);
    ASSERT_EQ(korean.size(), 1);
    EXPECT_EQ(korean.begin()->normalized(QString::NormalizationForm_C), u"노래"_s);
}

// Plain ASCII takes a shortcut. Accents on some letters force the general path, which must give
// the same results.
TEST(Tokenizer, AsciiShortcutAgreesWithTheGeneralPath) {
    const char* const pieces[] = {"a",  "d",    "E",    "I",       "m",       "N",     "o",   "t",   "v",     "y",
                                  "h",  "w",    "0",    "9",       "'",       ".",     "/",   " ",   "-",     "_",
                                  "\t", "on't", "dN't", "ould've", "They're", "we've", "I'm", "i'd", "Ain't", "e"};
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> pick(0, std::size(pieces) - 1);
    std::uniform_int_distribution<int> length(0, 12);
    for (int round = 0; round < 20000; ++round) {
        QString plain;
        for (int n = length(random); n > 0; --n) plain.append(QLatin1String(pieces[pick(random)]));
        plain.insert(qsizetype(pick(random)) % (plain.size() + 1), u'e');
        QString accented = plain;
        accented.replace(u'e', QChar(0x00E9)).replace(u'E', u"E\u0301"_s);
        accented.replace(u'-', u"-\u0308"_s);
        ASSERT_EQ(normalize(plain), normalize(accented)) << plain.toStdString();
        ASSERT_EQ(tokens(plain), tokens(accented)) << plain.toStdString();
    }
}
