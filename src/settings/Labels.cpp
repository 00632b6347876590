#include "Labels.h"

#include <algorithm>
#include <utility>

namespace sonvale {

namespace {

struct TagName {
    const char* name;
    bool Tags::*flag;
};

constexpr std::array<TagName, 11> tagNames = {{
    {"track", &Tags::track},
    {"album", &Tags::album},
    {"artist", &Tags::artist},
    {"trackNumber", &Tags::trackNumber},
    {"trackDuration", &Tags::trackDuration},
    {"bitrate", &Tags::bitrate},
    {"channels", &Tags::channels},
    {"format", &Tags::format},
    {"sampleRate", &Tags::sampleRate},
    {"playlistCount", &Tags::playlistCount},
    {"playlistDuration", &Tags::playlistDuration},
}};

}  // namespace

std::optional<TagSeparator> tagSeparatorFromRaw(qint64 raw) {
    if (raw < 0 || raw > qint64(TagSeparator::LongDash)) return std::nullopt;
    return TagSeparator(raw);
}

QString separatorText(TagSeparator separator) {
    switch (separator) {
    case TagSeparator::Space: return QStringLiteral(" ");
    case TagSeparator::Comma: return QStringLiteral(", ");
    case TagSeparator::Dash: return QStringLiteral(" - ");
    case TagSeparator::LongDash: return QStringLiteral(" \u2014 ");
    }
    return QStringLiteral(" ");
}

QStringList Tags::names() const {
    QStringList out;
    for (const TagName& tag : tagNames) {
        if (this->*tag.flag) out.append(QLatin1String(tag.name));
    }
    return out;
}

std::optional<Tags> Tags::withNames(const QStringList& names) const {
    Tags out;
    out.separator = separator;
    for (const QString& name : names) {
        const auto* found = std::find_if(tagNames.begin(), tagNames.end(),
                                         [&](const TagName& tag) { return name == QLatin1String(tag.name); });
        if (found == tagNames.end()) return std::nullopt;
        out.*(found->flag) = true;
    }
    return out;
}

Tags& Labels::byKey(size_t index) {
    return const_cast<Tags&>(std::as_const(*this).byKey(index));
}

const Tags& Labels::byKey(size_t index) const {
    switch (index) {
    case 0: return title;
    case 1: return subtitle;
    case 2: return left;
    default: return right;
    }
}

}  // namespace sonvale
