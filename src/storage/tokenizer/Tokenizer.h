#pragma once

#include <QSet>
#include <QString>

namespace sonvale {

// The text that search compares: diacritics folded (canonical decomposition with every
// combining mark removed), Unicode lower case, the common English contractions written
// without their ASCII apostrophe ("don't" becomes "dont"), and the last extension of the
// last path component removed ("/a/b.flac" becomes "/a/b", "vol.2" becomes "vol").
// Trailing slashes are dropped, except for a lone "/".
// Pure function, safe on any thread.
QString normalize(const QString& text);

// The search tokens of a text: the maximal runs of letters, marks and digits of any script in
// normalize(text). Everything else (white space, punctuation, symbols, apostrophes, slashes)
// separates. The same function serves the indexed texts and the typed query, so both sides
// meet. Pure function, safe on any thread.
QSet<QString> tokens(const QString& text);

// Adds the tokens of `text` to `into`; lets a caller gather the tokens of several texts in one
// set.
void insertTokens(const QString& text, QSet<QString>& into);

}  // namespace sonvale
