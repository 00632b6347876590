#include "LibraryGenerator.h"

#include "DB.h"
#include "Index.h"
#include "ScanBatch.h"
#include "Tokenizer.h"

#include <QSet>

#include <cmath>

namespace {

constexpr int kVocabularySize = 40000;

const char* const kCommonWords[] = {
    "the", "love", "you", "me", "my", "i", "a", "in", "of", "to", "night", "heart", "baby", "time", "life",
    "world", "dream", "fire", "rain", "home", "light", "day", "way", "go", "girl", "man", "blue", "song",
    "dance", "live", "no", "one", "all", "on", "your", "be", "it", "is", "down", "up", "summer", "road",
    "river", "moon", "sun", "star", "stars", "black", "white", "red", "gold", "heaven", "angel", "devil",
    "city", "street", "wild", "free", "forever", "never", "always", "tonight", "tomorrow", "yesterday",
    "remix", "version", "remastered", "edit", "mix", "live", "acoustic", "part", "intro", "outro", "theme",
    "symphony", "concerto", "sonata", "suite", "allegro", "adagio", "op", "no", "major", "minor", "vol",
    "greatest", "hits", "best", "collection", "anthology", "deluxe", "edition", "ep", "album", "sessions",
    "don't", "can't", "i'm", "it's", "we're", "you're", "boys", "band", "orchestra", "quartet", "trio",
    "feat", "and", "with", "for", "from", "by", "at", "this", "that", "what", "where", "when", "why"};

const char* const kSyllables[] = {
    "ka", "lo", "mi", "ra", "te", "su", "no", "vi", "da", "re", "zo", "pe", "ma", "li", "ne", "ro", "sa", "ti",
    "bo", "fa", "gu", "he", "ja", "ko", "lu", "mo", "ni", "pa", "qui", "ri", "so", "tu", "va", "we", "xi",
    "ya", "ze", "an", "el", "in", "on", "ur", "ber", "dan", "for", "gen", "har", "kin", "lor", "mar", "nor",
    "par", "ran", "sel", "tor", "van", "wel", "stra", "blu", "cre", "dro", "fle", "gri", "pla", "tri", "sch"};

const char* const kMarked[] = {"\u00e9", "\u00fc", "\u00f1", "\u00e0", "\u00f6", "\u00e7"};

const char* const kExtensions[] = {"flac", "mp3", "m4a"};

}  // namespace

LibraryGenerator::LibraryGenerator(std::uint64_t seed) : state_(seed) {
    QSet<QString> seen;
    for (const char* word : kCommonWords) {
        const QString text = QString::fromUtf8(word);
        if (!seen.contains(text)) {
            seen.insert(text);
            vocabulary_.append(text);
        }
    }
    while (vocabulary_.size() < kVocabularySize) {
        QString word;
        const int syllables = 1 + uniform(4);
        for (int i = 0; i < syllables; ++i) word += QLatin1String(kSyllables[uniform(std::size(kSyllables))]);
        if (uniform(30) == 0) word.insert(uniform(int(word.size())), QString::fromUtf8(kMarked[uniform(6)]));
        if (!seen.contains(word)) {
            seen.insert(word);
            vocabulary_.append(word);
        }
    }
}

QStringList LibraryGenerator::tagTokens(const sonvale::Track& track) {
    QSet<QString> found;
    for (const QString* text : {&track.title, &track.artist, &track.album}) sonvale::insertTokens(*text, found);
    QStringList tokens(found.begin(), found.end());
    tokens.sort();
    return tokens;
}

qsizetype LibraryGenerator::draw(std::uint64_t& state, qsizetype n) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return qsizetype((state >> 33) % std::uint64_t(n));
}

std::uint64_t LibraryGenerator::next() {
    // splitmix64: the same sequence everywhere.
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

int LibraryGenerator::skewed(int n) {
    const double u = double(next() >> 11) / double(1ull << 53);
    return std::min(n - 1, int(std::exp(u * std::log(double(n)))) - 1);
}

QString LibraryGenerator::words(int min, int max, bool capitalise) {
    QStringList list;
    const int count = min + uniform(max - min + 1);
    for (int i = 0; i < count; ++i) {
        QString word = vocabulary_[skewed(int(vocabulary_.size()))];
        if (capitalise) word[0] = word[0].toUpper();
        list.append(word);
    }
    return list.join(QLatin1Char(' '));
}

QList<sonvale::TrackRef> LibraryGenerator::tracks(int count) {
    QList<sonvale::TrackRef> result;
    result.reserve(count);
    QString artist, album;
    int left = 0, albumsLeft = 0, number = 0;
    while (result.size() < count) {
        if (left == 0) {
            if (albumsLeft == 0) {
                artist = words(1, 3, true);
                albumsLeft = 1 + uniform(3);
            }
            album = words(1, 4, true);
            --albumsLeft;
            left = 6 + uniform(10);
            number = 0;
        }
        --left;
        ++number;
        auto track = std::make_shared<sonvale::Track>();
        track->title = words(1, 4, true);
        track->artist = artist;
        track->album = album;
        track->track = QString::number(number);
        track->path = QStringLiteral("/home/user/Music/%1/%2/%3 %4.%5")
                          .arg(artist, album)
                          .arg(number, 2, 10, QLatin1Char('0'))
                          .arg(track->title, QLatin1String(kExtensions[uniform(3)]));
        track->pk = result.size() + 1;
        track->status = sonvale::TrackStatus::scanned;
        result.append(track);
    }
    return result;
}

void LibraryGenerator::store(sonvale::DB& db, const QList<sonvale::TrackRef>& tracks, const QString& root) {
    sonvale::Folder folder{std::nullopt, root, std::nullopt};
    db.addFolder(folder);
    constexpr int kBatch = 1000;
    for (qsizetype first = 0; first < tracks.size(); first += kBatch) {
        sonvale::ScanBatch batch;
        batch.inserted = tracks.mid(first, kBatch);
        for (const sonvale::TrackRef& track : batch.inserted) track->folder = *folder.pk;
        batch.updated = batch.inserted;
        db.saveScanBatch(batch);
        sonvale::Index index;
        for (const sonvale::TrackRef& track : batch.inserted) index.add(track);
        db.saveIndex(index);
    }
}
