#include "Preferences.h"

#include <QSettings>

#include <gtest/gtest.h>

using sonvale::Appearance;
using sonvale::Labels;
using sonvale::PlaybackMode;
using sonvale::Preferences;
using sonvale::TagSeparator;
using namespace Qt::StringLiterals;

namespace {

// Every test starts from an empty store.
class PreferencesTest : public testing::Test {
protected:
    void SetUp() override { store.clear(); }
    void TearDown() override { store.clear(); }

    void put(const QString& key, const QVariant& value) {
        store.setValue(key, value);
        store.sync();
    }

    QSettings store{u"Sonvale"_s, u"Sonvale"_s};
};

}  // namespace

TEST_F(PreferencesTest, SaveThenLoadRestoresEveryFieldUnderItsKey) {
    Preferences preferences;
    preferences.appearance = Appearance::Light;
    preferences.alwaysEnqueue = preferences.alwaysOnTop = preferences.winampKeys = true;
    preferences.timeRightTotal = preferences.useAbsolutePathsForPlaylists = true;
    preferences.playbackMode = PlaybackMode::Single;
    preferences.volume = 0.25f;
    preferences.currentPlaylistItem = 5'000'000'000;
    preferences.labels.title = {.artist = true, .sampleRate = true, .separator = TagSeparator::LongDash};
    preferences.labels.left = {.separator = TagSeparator::Comma};
    preferences.replayGain = {.mode = sonvale::ReplayGainMode::Album, .preamp = -2.5f, .preventClipping = false};
    ASSERT_TRUE(preferences.save());

    Preferences loaded;
    EXPECT_EQ(loaded.appearance, Appearance::Light);
    EXPECT_TRUE(loaded.alwaysEnqueue && loaded.alwaysOnTop && loaded.winampKeys && loaded.timeRightTotal &&
                loaded.useAbsolutePathsForPlaylists);
    EXPECT_EQ(loaded.playbackMode, PlaybackMode::Single);
    EXPECT_EQ(loaded.volume, 0.25f);
    EXPECT_EQ(loaded.currentPlaylistItem, 5'000'000'000);
    EXPECT_EQ(loaded.labels, preferences.labels);
    EXPECT_EQ(loaded.replayGain, preferences.replayGain);

    EXPECT_EQ(store.value(u"playbackMode"_s).toInt(), 4);
    EXPECT_TRUE(store.value(u"UseAbsolutePathsForPlaylists"_s).toBool());
    EXPECT_EQ(store.value(u"replayGainMode"_s).toInt(), 2);
    EXPECT_EQ(store.value(u"replayGainPreamp"_s).toFloat(), -2.5f);
    EXPECT_FALSE(store.value(u"replayGainPreventClipping"_s).toBool());
    EXPECT_EQ(store.value(u"separators/title"_s).toInt(), 3);
    EXPECT_EQ(store.value(u"labels/title"_s).toStringList(), QStringList({u"artist"_s, u"sampleRate"_s}));

    // Without a current item the key goes, and then reads as zero.
    loaded.currentPlaylistItem.reset();
    ASSERT_TRUE(loaded.save());
    EXPECT_FALSE(store.contains(u"current"_s));
    EXPECT_EQ(Preferences().currentPlaylistItem, 0);
}

TEST_F(PreferencesTest, MissingOutOfRangeAndMistypedValuesFallBack) {
    put(u"playbackMode"_s, 9);
    put(u"appearance"_s, 5);
    put(u"volume"_s, u"loud"_s);
    put(u"current"_s, u"x"_s);
    put(u"separators/title"_s, 7);
    put(u"separators/subtitle"_s, u"dash"_s);
    put(u"separators/left"_s, 3);
    put(u"labels/title"_s, QStringList({u"track"_s, u"lyrics"_s}));
    put(u"labels/right"_s, QStringList({u"format"_s}));
    put(u"labels/left"_s, u"channels"_s);   // how a one-element list reads back from disk
    put(u"labels/subtitle"_s, QVariant());  // how an empty list reads back from disk
    put(u"replayGainMode"_s, 3);
    put(u"replayGainPreamp"_s, 40.0);

    const Preferences preferences;
    EXPECT_EQ(preferences.playbackMode, PlaybackMode::Normal);
    EXPECT_EQ(preferences.appearance, Appearance::System);
    EXPECT_EQ(preferences.volume, 1.0f);
    EXPECT_EQ(preferences.currentPlaylistItem, 0);
    EXPECT_EQ(preferences.labels.title, Labels().title);
    EXPECT_EQ(preferences.labels.subtitle.separator, Labels().subtitle.separator);
    EXPECT_TRUE(preferences.labels.subtitle.names().isEmpty());
    EXPECT_EQ(preferences.labels.left.names(), QStringList({u"channels"_s}));
    EXPECT_EQ(preferences.labels.left.separator, TagSeparator::LongDash);
    EXPECT_EQ(preferences.labels.right.names(), QStringList({u"format"_s}));
    EXPECT_EQ(preferences.labels.right.separator, TagSeparator::Comma);
    EXPECT_EQ(preferences.replayGain.mode, sonvale::ReplayGainMode::Off);
    EXPECT_EQ(preferences.replayGain.preamp, 15.0f);

    put(u"replayGainMode"_s, u"album"_s);
    put(u"replayGainPreamp"_s, u"nan"_s);
    EXPECT_EQ(Preferences().replayGain, sonvale::ReplayGainSettings());
}
