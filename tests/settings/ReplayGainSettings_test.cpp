#include "ReplayGainSettings.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace sonvale;

namespace {

constexpr ReplayGainSettings kTrack{.mode = ReplayGainMode::Track};
constexpr ReplayGainSettings kAlbum{.mode = ReplayGainMode::Album};

float decibels(float factor) { return 20.0f * std::log10(factor); }

}  // namespace

TEST(ReplayGainSettings, TheModeChoosesTheGainAndAlbumFallsBackToTrack) {
    const ReplayGain both{.trackGain = -6.02f, .albumGain = -3.0f};
    EXPECT_NEAR(replayGainFactor(both, kTrack), 0.5f, 0.001f);
    EXPECT_NEAR(decibels(replayGainFactor(both, kAlbum)), -3.0f, 0.001f);
    EXPECT_EQ(replayGainFactor(both, ReplayGainSettings{}), 1.0f);  // off by default

    const ReplayGain trackOnly{.trackGain = -6.02f, .trackPeak = 0.9f};
    EXPECT_NEAR(replayGainFactor(trackOnly, kAlbum), 0.5f, 0.001f);
    // Without a gain for the mode the file plays as it is, preamp or not.
    const ReplayGainSettings loud{.mode = ReplayGainMode::Album, .preamp = 6.0f};
    EXPECT_EQ(replayGainFactor(ReplayGain{}, loud), 1.0f);
    EXPECT_EQ(replayGainFactor(ReplayGain{.albumGain = -2.0f}, kTrack), 1.0f);
}

TEST(ReplayGainSettings, ThePreampAddsAndThePeakLimitsWhenClippingIsPrevented) {
    const ReplayGainSettings preamp{.mode = ReplayGainMode::Track, .preamp = 3.0f, .preventClipping = false};
    EXPECT_NEAR(decibels(replayGainFactor(ReplayGain{.trackGain = -6.0f}, preamp)), -3.0f, 0.001f);

    // +6 dB would double a track that already peaks at 0.8: the peak allows 1.25 at most.
    const ReplayGain quiet{.trackGain = 6.0f, .trackPeak = 0.8f, .albumGain = 4.0f, .albumPeak = 0.9f};
    EXPECT_NEAR(replayGainFactor(quiet, kTrack), 1.25f, 0.0001f);
    EXPECT_NEAR(replayGainFactor(quiet, kAlbum), 1.0f / 0.9f, 0.0001f);
    EXPECT_NEAR(replayGainFactor(quiet, ReplayGainSettings{.mode = ReplayGainMode::Track, .preventClipping = false}),
                1.995f, 0.001f);
    // Album mode without an album peak takes the track peak; a gain below the limit stays.
    EXPECT_NEAR(replayGainFactor(ReplayGain{.trackPeak = 0.5f, .albumGain = 12.0f}, kAlbum), 2.0f, 0.0001f);
    EXPECT_NEAR(replayGainFactor(ReplayGain{.trackGain = -6.02f, .trackPeak = 0.99f}, kTrack), 0.5f, 0.001f);
}
