#include "Tokenizer.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <iterator>
#include <random>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

QSet<QString> words(const char* spaceSeparated) {
    const QStringList list = QString::fromUtf8(spaceSeparated).split(u' ', Qt::SkipEmptyParts);
    return QSet<QString>(list.begin(), list.end());
}

QSet<QString> tokensOf(const char* utf8) { return tokens(QString::fromUtf8(utf8)); }
QString normalized(const char* utf8) { return normalize(QString::fromUtf8(utf8)); }

}  // namespace

TEST(Tokenizer, PathGivesItsFoldedWordsWithoutTheExtension) {
    EXPECT_EQ(tokensOf("/Music/Zoë Keating/Début/01 Human Behaviour.flac"),
              words("music zoe keating debut 01 human behaviour"));
    EXPECT_EQ(tokensOf("BEYONCE\u0301"), tokensOf("Beyoncé"));
    EXPECT_EQ(normalized("Ångström ǖ İstanbul Йод Ev\u0301\u0323a"), normalized("angstrom u istanbul иод eṿ́a"));
}

TEST(Tokenizer, ContractionsLoseOnlyTheAsciiApostrophe) {
    EXPECT_EQ(tokensOf("Don't Stop"), words("dont stop"));
    EXPECT_EQ(tokensOf("I'm sure they've said we're fine, I'd think you couldn't and won't"),
              words("im sure theyve said were fine id think you couldnt and wont"));
    EXPECT_EQ(tokensOf("It's rock 'n' roll"), words("it s rock n roll"));
    EXPECT_EQ(tokensOf("DON’T"), words("don t"));
}

TEST(Tokenizer, CapitalSigmaEndingAWordTakesTheFinalForm) {
    EXPECT_EQ(tokensOf("ΟΔΟΣ ΣΑΣ"), words("οδος σας"));
    EXPECT_EQ(normalized("Σ ΑΣ'Β Α'Σ"), QString::fromUtf8("σ ασ'β α'ς"));
}

TEST(Tokenizer, KeepsLettersAndDigitsOfEveryScript) {
    EXPECT_EQ(tokensOf("東京事変 – 2024, Кино: крови; أغنية ٣٤"), words("東京事変 2024 кино крови اغنية ٣٤"));
    EXPECT_EQ(tokensOf("\U00020000\U0001D400!x"), words("\U00020000\U0001D400 x"));
    // Hangul syllables come out as their jamo, which composition restores.
    const QSet<QString> korean = tokensOf("노래");
    ASSERT_EQ(korean.size(), 1);
    EXPECT_EQ(korean.begin()->normalized(QString::NormalizationForm_C), QString::fromUtf8("노래"));
}

TEST(Tokenizer, EverythingElseSeparates) {
    EXPECT_EQ(tokensOf("AC/DC"), words("ac dc"));
    EXPECT_EQ(tokensOf("Hello-World_x+y (Live) [2] a🎵b\u00A0c\u3000d\u200Be"),
              words("hello world x y live 2 a b c d e"));
    for (const char* none : {"", " \t\n", "-/.,!?…", "’", "🎵 ♪ ★", "\u00A0\u3000", "'"}) {
        EXPECT_TRUE(tokensOf(none).isEmpty()) << none;
    }
}

TEST(Tokenizer, DropsOnlyTheLastExtensionOfTheLastComponent) {
    EXPECT_EQ(normalized("a.b.c"), u"a.b"_s);
    EXPECT_EQ(tokensOf("Vol.2 / Mr. Brightside"), words("vol 2 mr"));
    EXPECT_EQ(normalized("/Music/X.Y/Track"), u"/music/x.y/track"_s);
    EXPECT_EQ(normalized("/Music/Album.dir//"), u"/music/album"_s);
    EXPECT_EQ(normalized("scratch..tiff"), u"scratch."_s);
    EXPECT_EQ(normalized("/"), u"/"_s);
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
        for (int n = length(random); n > 0; --n) { plain.append(QLatin1String(pieces[pick(random)])); }
        plain.insert(qsizetype(pick(random)) % (plain.size() + 1), u'e');
        QString accented = plain;
        accented.replace(u'e', QChar(0x00E9)).replace(u'E', u"E\u0301"_s);
        accented.replace(u'-', u"-\u0308"_s);
        ASSERT_EQ(normalize(plain), normalize(accented)) << plain.toStdString();
        ASSERT_EQ(tokens(plain), tokens(accented)) << plain.toStdString();
    }
}
