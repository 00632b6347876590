#include "ID3Chapters.h"

#include "ByteView.h"
#include "ID3FrameWalker.h"
#include "ID3Text.h"

#include <QHash>
#include <QSet>

#include <algorithm>

namespace sonvale {

namespace {

constexpr uint8_t kTopLevel = 0x02;
// Tables of contents nest; deeper nesting than this is taken as a loop.
constexpr int kMaxDepth = 8;
// Embedded frames other than a title may be pictures; only this much of a chapter is read.
constexpr qint64 kMaxTitleBytes = 64 * 1024;

// The NUL-terminated element id at the start of a CHAP or CTOC frame and the index behind it.
std::optional<std::pair<QByteArray, qint64>> elementId(ByteView bytes, qint64 from) {
    const qint64 end = bytes.indexOf('\0', from);
    if (end < 0) return std::nullopt;
    return std::pair{*bytes.slice(from, end - from), end + 1};
}

QString embeddedTitle(const QByteArray& frames, const ID3Header& header) {
    // The chapter frame's data has been resynchronised as a whole already; only an embedded
    // frame's own flag can still ask for it.
    ID3Header embedded = header;
    embedded.flags &= ~ID3Header::kUnsynchronisation;
    ID3FrameWalker walker(ID3Body(frames), embedded);
    while (const auto frame = walker.next()) {
        if (frame->id != id3FrameId("TIT2")) continue;
        const auto content = walker.content(*frame, kMaxTitleBytes);
        if (!content) continue;
        const QStringList values = ID3Text::frameValues(ByteView(*content));
        if (!values.isEmpty()) return values.first();
    }
    return {};
}

}  // namespace

void ID3Chapters::addChapter(const QByteArray& content, const ID3Header& header) {
    if (chapters_.size() >= kMaxChapters) return;
    const ByteView bytes(content);
    const auto id = elementId(bytes, 0);
    if (!id) return;
    const qint64 p = id->second;
    const auto start = bytes.be32(p);
    const auto end = bytes.be32(p + 4);
    // The byte offsets at p + 8 and p + 12 are not needed: times are what a player shows.
    if (!start || !end || !bytes.contains(p + 16, 0)) return;
    Chapter chapter{*start / 1000.0, *end / 1000.0, embeddedTitle(content.mid(p + 16), header)};
    chapters_.append({id->first, std::move(chapter)});
}

void ID3Chapters::addTable(const QByteArray& content) {
    if (tables_.size() >= kMaxTables) return;
    const ByteView bytes(content);
    const auto id = elementId(bytes, 0);
    if (!id) return;
    const auto flags = bytes.u8(id->second);
    const auto count = bytes.u8(id->second + 1);
    if (!flags || !count) return;
    Table table{id->first, bool(*flags & kTopLevel), {}};
    qint64 p = id->second + 2;
    for (int i = 0; i < *count; ++i) {
        const auto child = elementId(bytes, p);
        if (!child) break;
        table.children.append(child->first);
        p = child->second;
    }
    tables_.append(std::move(table));
}

QList<Chapter> ID3Chapters::ordered() const {
    QList<Chapter> result;
    const auto top = std::find_if(tables_.begin(), tables_.end(), [](const Table& t) { return t.topLevel; });
    if (top == tables_.end()) {
        for (const Entry& entry : chapters_) result.append(entry.chapter);
        return result;
    }

    // The first chapter and the first table of each id.
    QHash<QByteArray, qsizetype> chapterIndex;
    for (qsizetype i = chapters_.size() - 1; i >= 0; --i) chapterIndex.insert(chapters_[i].id, i);
    QHash<QByteArray, qsizetype> tableIndex;
    for (qsizetype i = tables_.size() - 1; i >= 0; --i) tableIndex.insert(tables_[i].id, i);

    QList<bool> used(chapters_.size(), false);
    QSet<qsizetype> visited;
    auto visit = [&](auto& self, qsizetype table, int depth) -> void {
        if (depth > kMaxDepth || visited.contains(table)) return;
        visited.insert(table);
        for (const QByteArray& child : tables_[table].children) {
            if (const auto c = chapterIndex.constFind(child); c != chapterIndex.constEnd()) {
                if (!used[*c]) result.append(chapters_[*c].chapter);
                used[*c] = true;
            } else if (const auto t = tableIndex.constFind(child); t != tableIndex.constEnd()) {
                self(self, *t, depth + 1);
            }
        }
    };
    visit(visit, top - tables_.begin(), 0);
    for (qsizetype i = 0; i < chapters_.size(); ++i) {
        if (!used[i]) result.append(chapters_[i].chapter);
    }
    return result;
}

}  // namespace sonvale
