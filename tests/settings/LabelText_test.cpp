#include "LabelText.h"

#include "Track.h"

#include <gtest/gtest.h>

#include <limits>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

Track fullTrack() {
    Track track(u"/music/Artist/07 Song.flac"_s);
    track.title = u"Song"_s;
    track.artist = u"Artist"_s;
    track.album = u"Album"_s;
    track.track = u"07"_s;
    track.duration = 245.9;
    track.bitRate = 912'345;
    track.sampleRate = 44100;
    track.channels = 2;
    return track;
}

Tags everyTag(TagSeparator separator) {
    return {.track = true, .album = true, .artist = true, .trackNumber = true, .trackDuration = true, .bitrate = true,
            .channels = true, .format = true, .sampleRate = true, .playlistCount = true, .playlistDuration = true,
            .separator = separator};
}

}  // namespace

TEST(LabelText, PiecesKeepTheirFixedOrderWhateverTheFlagOrder) {
    const Track track = fullTrack();
    EXPECT_EQ(composeLabel(everyTag(TagSeparator::Comma), &track, 3, 3723),
              u"Song, Artist, Album, 7, 4:05, FLAC, 912 kbps, 44100Hz, Stereo, 3 tracks, 1:02:03"_s);
}

TEST(LabelText, SeparatorJoinsPiecesWhenEachOfTheFourIsChosen) {
    const Track track = fullTrack();
    const std::pair<TagSeparator, QString> cases[] = {
        {TagSeparator::Space, u"Song Artist 3 tracks"_s},
        {TagSeparator::Comma, u"Song, Artist, 3 tracks"_s},
        {TagSeparator::Dash, u"Song - Artist - 3 tracks"_s},
        {TagSeparator::LongDash, u"Song \u2014 Artist \u2014 3 tracks"_s},
    };
    for (const auto& [separator, expected] : cases) {
        const Tags tags{.track = true, .artist = true, .playlistCount = true, .separator = separator};
        EXPECT_EQ(composeLabel(tags, &track, 3, 0), expected) << int(separator);
    }
}

// Each case takes the full track, changes one value and shows artist, album and the piece
// under test, so a piece without a value must leave no separator behind.
TEST(LabelText, PieceWithoutAValueLeavesNoSeparatorWhenEmptyOrZero) {
    struct Case {
        const char* name;
        Tags tags;
        void (*change)(Track&);
        qsizetype count;
        QString expected;
    };
    const Case cases[] = {
        {"no album", {.album = true, .artist = true}, [](Track& t) { t.album.clear(); }, 0, u"Artist"_s},
        {"999 bps", {.artist = true, .bitrate = true}, [](Track& t) { t.bitRate = 999; }, 0, u"Artist 0 kbps"_s},
        {"0 bps", {.artist = true, .bitrate = true}, [](Track& t) { t.bitRate = 0; }, 0, u"Artist"_s},
        {"no channels", {.artist = true, .channels = true}, [](Track& t) { t.channels = 0; }, 0, u"Artist"_s},
        {"number 0", {.artist = true, .trackNumber = true}, [](Track& t) { t.track = u"0"_s; }, 0, u"Artist"_s},
        {"of total", {.artist = true, .trackNumber = true}, [](Track& t) { t.track = u"3/12"_s; }, 0, u"Artist 3"_s},
        {"no extension", {.artist = true, .format = true}, [](Track& t) { t.path = u"/m/a.b/Song"_s; }, 0, u"Artist"_s},
        {"one item", {.artist = true, .playlistCount = true}, [](Track&) {}, 1, u"Artist 1 tracks"_s},
        {"nothing", {.track = true}, [](Track& t) { t.title.clear(); }, 0, QString()},
    };
    for (const Case& c : cases) {
        Track track = fullTrack();
        c.change(track);
        EXPECT_EQ(composeLabel(c.tags, &track, c.count, 0), c.expected) << c.name;
    }
}

TEST(LabelText, OnlyPlaylistPiecesAppearWhenThereIsNoTrack) {
    EXPECT_EQ(composeLabel(everyTag(TagSeparator::Dash), nullptr, 2, 61), u"2 tracks - 1:01"_s);
    EXPECT_EQ(composeLabel(Labels().subtitle, nullptr, 2, 61), QString());
}

TEST(LabelText, DurationIsTruncatedAndGainsHoursFromOneHour) {
    const std::tuple<bool, double, QString> cases[] = {
        {false, 0, u"0:00"_s},
        {false, 59.99, u"0:59"_s},
        {false, 605, u"10:05"_s},
        {false, 3599, u"59:59"_s},
        {false, 3600, u"1:00:00"_s},
        {false, 3660, u"1:01:00"_s},
        {false, 36'061, u"10:01:01"_s},
        {false, -5, u"0:00"_s},
        {false, std::numeric_limits<double>::quiet_NaN(), u"0:00"_s},
        {true, 65, u"-1:05"_s},
        {true, 3600, u"-1:00:00"_s},
        {true, -3, u"-0:00"_s},
    };
    for (const auto& [sign, seconds, expected] : cases) EXPECT_EQ(formatDuration(sign, seconds), expected) << seconds;
}

TEST(LabelText, DescriptionFallsBackToTheFileNameWithoutATitle) {
    Track track = fullTrack();
    EXPECT_EQ(describeTrack(track), u"Artist - Song"_s);
    track.artist.clear();
    EXPECT_EQ(describeTrack(track), u"Song"_s);
    track.artist = u"Artist"_s;
    track.title.clear();
    EXPECT_EQ(describeTrack(track), u"07 Song.flac"_s);
}
