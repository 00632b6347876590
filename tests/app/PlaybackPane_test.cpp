#include "PlaybackPane.h"

#include "EventLoop.h"
#include "Notifications.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QSettings>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

void clearReplayGainKeys() {
    QSettings store(u"Sonvale"_s, u"Sonvale"_s);
    for (const QString& key : {u"replayGainMode"_s, u"replayGainPreamp"_s, u"replayGainPreventClipping"_s}) {
        store.remove(key);
    }
}

class PlaybackPaneTest : public testing::Test {
protected:
    void SetUp() override { clearReplayGainKeys(); }
    void TearDown() override { clearReplayGainKeys(); }
};

}  // namespace

// Off at first, with the details that only matter when on greyed; every change is saved at once
// and announced.
TEST_F(PlaybackPaneTest, ChangesAreSavedAndAnnouncedAtOnce) {
    Preferences preferences;
    Notifications notifications;
    PlaybackPane pane(preferences, notifications);
    EXPECT_EQ(pane.mode()->currentText(), u"Off"_s);
    EXPECT_FALSE(pane.preamp()->isEnabled() || pane.preventClipping()->isEnabled());

    QSignalSpy announced(&notifications, &Notifications::replayGainChanged);
    pane.mode()->setCurrentIndex(pane.mode()->findData(int(ReplayGainMode::Album)));
    EXPECT_TRUE(pane.preamp()->isEnabled() && pane.preventClipping()->isEnabled());
    pane.preamp()->setValue(-3.5);
    pane.preamp()->stepBy(1);
    pane.preventClipping()->setChecked(false);
    const ReplayGainSettings expected{.mode = ReplayGainMode::Album, .preamp = -3.0f, .preventClipping = false};
    EXPECT_EQ(preferences.replayGain, expected);
    EXPECT_EQ(Preferences().replayGain, expected);
    EXPECT_TRUE(spinUntil([&] { return announced.size() == 4; }, 5));

    // The range the preferences keep the preamp in.
    pane.preamp()->setValue(40);
    EXPECT_EQ(preferences.replayGain.preamp, ReplayGainSettings::kMaxPreamp);
}

TEST_F(PlaybackPaneTest, RefreshShowsValuesChangedElsewhere) {
    Preferences preferences;
    Notifications notifications;
    PlaybackPane pane(preferences, notifications);
    QSignalSpy announced(&notifications, &Notifications::replayGainChanged);
    preferences.replayGain = {.mode = ReplayGainMode::Track, .preamp = 6.0f, .preventClipping = false};
    pane.refresh();
    EXPECT_EQ(pane.mode()->currentData().toInt(), int(ReplayGainMode::Track));
    EXPECT_EQ(pane.preamp()->value(), 6.0);
    EXPECT_FALSE(pane.preventClipping()->isChecked());
    EXPECT_TRUE(pane.preamp()->isEnabled());
    QCoreApplication::processEvents();
    EXPECT_EQ(announced.size(), 0);  // showing is no change
}
