#include "AppFixture.h"

#include "AppActions.h"
#include "MainWindow.h"
#include "PlaylistView.h"
#include "TestBytes.h"
#include "TrackInfoWindow.h"

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>

using namespace sonvale;
using namespace testbytes;
using namespace Qt::StringLiterals;

namespace {

class TrackInfoWindowTest : public AppFixture {
protected:
    // A three-second MP3 whose ID3v2.3 tag holds tags, unsynchronised lyrics, a 32×32 cover and
    // two chapters (0-1.5 s, 1.5-3 s); empty on failure.
    QString taggedMp3() {
        const QString bare = media_.ffmpeg(u"bare.mp3"_s, {u"-id3v2_version"_s, u"0"_s}, 3.0);
        const QString cover = media_.jpeg(u"cover-source.jpg"_s);
        if (bare.isEmpty() || cover.isEmpty()) return {};
        const auto latin1 = [](const QByteArray& text) { return '\0' + text; };
        const QByteArray tag = id3Tag(
            3, id3Frame(3, "TIT2", latin1("Talk")) + id3Frame(3, "TPE1", latin1("Speaker")) +
                   id3Frame(3, "TALB", latin1("Show")) + id3Frame(3, "TRCK", latin1("4/9")) +
                   id3Frame(3, "TCON", latin1("Podcast")) +
                   id3Frame(3, "USLT", QByteArray("\0eng\0", 5) + "First line\nSecond line") +
                   id3Picture(3, 3, MediaFactory::readAll(cover).value_or(QByteArray())) +
                   id3Chapter(3, "ch0", 0, 1500, "Opening") + id3Chapter(3, "ch1", 1500, 3000, "Closing"));
        return media_.write(u"talk.mp3"_s, tag + MediaFactory::readAll(bare).value_or(QByteArray()));
    }

    TrackInfoWindow& window() { return app_->infoWindow(); }
    bool waitForDetailsOf(const QString& path) {
        return spinUntil([&] { return window().details() && window().details()->path == path; }, 10);
    }
};

// Everything the file holds is shown, read by the library's readers; while the file plays the
// current chapter is marked, and a double-click on a chapter goes there.
TEST_F(TrackInfoWindowTest, ShowsTagsLyricsChaptersAndCoverAndFollowsThePlayingChapter) {
    const QString path = taggedMp3();
    ASSERT_FALSE(path.isEmpty());
    window().showTrack(path);
    ASSERT_TRUE(waitForDetailsOf(path));
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Title), u"Talk"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Artist), u"Speaker"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Album), u"Show"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::TrackNumber), u"4"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Genre), u"Podcast"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Format), u"MP3"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Channels), u"Stereo"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::SampleRate), u"44100 Hz"_s);
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Duration), u"0:03"_s);
    EXPECT_TRUE(window().fieldText(TrackInfoWindow::Size).contains(QLocale().toString(QFileInfo(path).size())));
    EXPECT_EQ(window().lyrics()->toPlainText(), u"First line\nSecond line"_s);
    QTableWidget& chapters = *window().chapters();
    ASSERT_EQ(chapters.rowCount(), 2);
    EXPECT_EQ(chapters.item(0, 2)->text(), u"Opening"_s);
    EXPECT_EQ(chapters.item(1, 0)->text(), u"0:01"_s);
    EXPECT_EQ(chapters.item(1, 2)->text(), u"Closing"_s);
    EXPECT_EQ(window().artwork()->pixmap().size(), QSize(32, 32));
    EXPECT_EQ(window().currentChapter(), -1);

    player().open({path}, false);
    player().playItem(player().playlist().items[0], false);
    ASSERT_TRUE(spinUntil([&] { return player().isPlaying() && window().currentChapter() == 0; }, 5));
    EXPECT_TRUE(chapters.item(0, 0)->text().startsWith(u"▶"_s));
    QTest::mouseDClick(chapters.viewport(), Qt::LeftButton, {}, chapters.visualItemRect(chapters.item(1, 2)).center());
    ASSERT_TRUE(spinUntil([&] { return window().currentChapter() == 1; }, 5));
    EXPECT_GE(player().elapsed(), 1.4);
    EXPECT_FALSE(chapters.item(0, 0)->text().startsWith(u"▶"_s));
}

// Show Info on the one selected row opens the reused window on it; a file that has gone says
// so; an answer that comes after a newer request is dropped.
TEST_F(TrackInfoWindowTest, ShowsTheLatestRequestAndSaysWhenTheFileIsGone) {
    fill();
    PlaylistView& table = *app_->window().table();
    table.selectRow(1);
    ASSERT_TRUE(spinUntil([&] { return app_->actions().showInfo->isEnabled(); }, 2));
    app_->actions().showInfo->trigger();
    ASSERT_TRUE(waitForDetailsOf(paths_[1]));
    EXPECT_TRUE(window().isVisible());
    EXPECT_FALSE(window().missingMessage()->isVisible());
    EXPECT_EQ(window().fieldText(TrackInfoWindow::Format), u"FLAC"_s);
    table.selectAll();
    ASSERT_TRUE(spinUntil([&] { return !app_->actions().showInfo->isEnabled(); }, 2));

    const QString gone = media_.write(u"gone.flac"_s, "x");
    ASSERT_TRUE(QFile::remove(gone));
    QSignalSpy shown(&window(), &TrackInfoWindow::shown);
    window().showTrack(paths_[2]);
    window().showTrack(gone);
    // The queue is serial and its answers arrive in order: the older one was dropped.
    ASSERT_TRUE(spinUntil([&] { return shown.size() == 1; }, 10));
    EXPECT_EQ(shown.size(), 1);
    EXPECT_EQ(window().details()->path, gone);
    EXPECT_TRUE(window().details()->missing);
    EXPECT_TRUE(window().missingMessage()->isVisible());
    EXPECT_TRUE(window().missingMessage()->text().contains(gone));
    EXPECT_TRUE(window().missingMessage()->text().startsWith(u"The file is gone"_s));
    QTest::keyClick(&window(), Qt::Key_Escape);
    EXPECT_FALSE(window().isVisible());
}

}  // namespace
