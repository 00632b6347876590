#include "Index.h"

#include "Indexable.h"
#include "Tokenizer.h"

#include <QSet>

namespace sonvale {

void Index::add(const TrackRef& track) {
    QSet<QString> found;
    for (const QString& text : indexTexts(*track)) insertTokens(text, found);
    for (const QString& token : found) occurences[token].append(track);
}

}  // namespace sonvale
