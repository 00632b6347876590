#pragma once

#include "AudioInfo.h"
#include "ID3Header.h"

#include <QByteArray>
#include <QList>

namespace sonvale {

// Collects the CHAP and CTOC frames of one ID3v2 tag (the ID3v2 chapter addendum) and puts the
// chapters in order: the order of the top-level table of contents (descending into the tables
// it lists), then every chapter no table reached, in file order. Without a top-level table
// the file order is kept. Malformed frames are skipped; at most kMaxChapters chapters and
// kMaxTables tables are kept.
class ID3Chapters {
public:
    static constexpr qsizetype kMaxChapters = 4096;
    static constexpr qsizetype kMaxTables = 256;

    // The content of a CHAP frame of a tag written under `header`; its embedded frames are
    // read the way the tag's own frames are, and an embedded TIT2 gives the title.
    void addChapter(const QByteArray& content, const ID3Header& header);
    // The content of a CTOC frame.
    void addTable(const QByteArray& content);

    QList<Chapter> ordered() const;

private:
    struct Entry {
        QByteArray id;
        Chapter chapter;
    };
    struct Table {
        QByteArray id;
        bool topLevel = false;
        QList<QByteArray> children;
    };

    QList<Entry> chapters_;
    QList<Table> tables_;
};

}  // namespace sonvale
