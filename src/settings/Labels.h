#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <optional>

namespace sonvale {

// The text between the pieces of one label. The raw values are stored in the preferences.
enum class TagSeparator { Space = 0, Comma = 1, Dash = 2, LongDash = 3 };

// The separator with raw value `raw`; std::nullopt for anything outside 0 to 3.
std::optional<TagSeparator> tagSeparatorFromRaw(qint64 raw);
// " ", ", ", " - " or " — ".
QString separatorText(TagSeparator separator);

// What one label of the main window shows: a set of tags and the separator between them.
struct Tags {
    bool track = false;
    bool album = false;
    bool artist = false;
    bool trackNumber = false;
    bool trackDuration = false;
    bool bitrate = false;
    bool channels = false;
    bool format = false;
    bool sampleRate = false;
    bool playlistCount = false;
    bool playlistDuration = false;
    TagSeparator separator = TagSeparator::Space;

    // The identifiers of the set flags ("track", "album", ..., "playlistDuration" — the field
    // names), in field order. This is how a template is stored.
    QStringList names() const;
    // The flags named in `names`, the separator kept; std::nullopt when a name is unknown.
    std::optional<Tags> withNames(const QStringList& names) const;

    bool operator==(const Tags&) const = default;
};

// The four labels of the main window; a default-constructed value holds the built-in
// templates.
struct Labels {
    Tags title{.track = true, .separator = TagSeparator::Dash};
    Tags subtitle{.album = true, .artist = true, .separator = TagSeparator::Dash};
    Tags left{.bitrate = true, .format = true, .separator = TagSeparator::Space};
    Tags right{.playlistCount = true, .playlistDuration = true, .separator = TagSeparator::Comma};

    // The storage keys of the four labels and the label each one names.
    static constexpr std::array<const char*, 4> keys = {"title", "subtitle", "left", "right"};
    Tags& byKey(size_t index);
    const Tags& byKey(size_t index) const;

    bool operator==(const Labels&) const = default;
};

}  // namespace sonvale
