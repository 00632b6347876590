#pragma once

#include "AppDelegate.h"
#include "EventLoop.h"
#include "MediaFactory.h"
#include "Player.h"
#include "SoundServer.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <memory>

// The whole desktop program in the test process: its shell, a real database and preferences in
// the test's private XDG folders, real FLAC files and the private sound server.
class AppFixture : public testing::Test {
protected:
    void SetUp() override {
        if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
        for (const char* name : {"B10", "a1", "b2"}) {
            paths_.append(media_.ffmpeg(QString::fromLatin1(name) + QStringLiteral(".flac"), {}, 3.0));
            ASSERT_FALSE(paths_.last().isEmpty());
        }
        start();
    }

    void start() {
        app_.reset();
        app_ = std::make_unique<sonvale::AppDelegate>();
        ASSERT_TRUE(app_->isUsable());
        app_->launch();
    }

    sonvale::Player& player() { return app_->player(); }

    // The base names of the playlist's files, in playlist order.
    QStringList playlistNames() {
        QStringList names;
        for (const sonvale::PlaylistItemRef& item : player().playlist().items) {
            names.append(QFileInfo(item->track()->path).baseName());
        }
        return names;
    }

    // Opens the files in place of the playlist without playing and waits for the table to show them.
    void fill() {
        player().open(paths_, false);
        ASSERT_TRUE(spinUntil([this] { return tableRows() == paths_.size(); }, 10));
    }
    int tableRows();

    MediaFactory media_;
    QStringList paths_;  // B10, a1, b2: not in natural order
    std::unique_ptr<sonvale::AppDelegate> app_;
};
