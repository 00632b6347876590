#include "TrackInfoWindow.h"

#include "Format.h"
#include "LabelText.h"
#include "Player.h"

#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace sonvale {

namespace {

constexpr std::array<const char*, TrackInfoWindow::FieldCount> kFieldTitles = {
    QT_TRANSLATE_NOOP("TrackInfoWindow", "Path:"),        QT_TRANSLATE_NOOP("TrackInfoWindow", "Format:"),
    QT_TRANSLATE_NOOP("TrackInfoWindow", "Duration:"),    QT_TRANSLATE_NOOP("TrackInfoWindow", "Bit rate:"),
    QT_TRANSLATE_NOOP("TrackInfoWindow", "Sample rate:"), QT_TRANSLATE_NOOP("TrackInfoWindow", "Channels:"),
    QT_TRANSLATE_NOOP("TrackInfoWindow", "File size:"),   QT_TRANSLATE_NOOP("TrackInfoWindow", "Modified:"),
    QT_TRANSLATE_NOOP("TrackInfoWindow", "Title:"),       QT_TRANSLATE_NOOP("TrackInfoWindow", "Artist:"),
    QT_TRANSLATE_NOOP("TrackInfoWindow", "Album:"),       QT_TRANSLATE_NOOP("TrackInfoWindow", "Track:"),
    QT_TRANSLATE_NOOP("TrackInfoWindow", "Genre:"),
};

constexpr int kThumbnailSide = 64;

QString orDash(const QString& text) { return text.isEmpty() ? QStringLiteral("—") : text; }

QString fieldValue(TrackInfoWindow::Field field, const TrackDetails& details) {
    const Track& t = details.track;
    const QLocale locale;
    switch (field) {
    case TrackInfoWindow::Path: return QDir::toNativeSeparators(details.path);
    case TrackInfoWindow::Format: return orDash(details.format);
    case TrackInfoWindow::Duration: return t.duration > 0 ? formatDuration(false, t.duration) : QStringLiteral("—");
    case TrackInfoWindow::BitRate: return t.bitRate > 0 ? QStringLiteral("%1 kbps").arg(t.bitRate / 1000) : QStringLiteral("—");
    case TrackInfoWindow::SampleRate: return t.sampleRate > 0 ? QStringLiteral("%1 Hz").arg(t.sampleRate) : QStringLiteral("—");
    case TrackInfoWindow::Channels: return Format::channelsDescription(t.channels);
    case TrackInfoWindow::Size:
        return QStringLiteral("%1 (%2 bytes)").arg(locale.formattedDataSize(t.size), locale.toString(t.size));
    case TrackInfoWindow::Modified:
        return details.modified.isValid() ? locale.toString(details.modified.toLocalTime(), QLocale::LongFormat)
                                          : QStringLiteral("—");
    case TrackInfoWindow::Title: return orDash(t.title);
    case TrackInfoWindow::Artist: return orDash(t.artist);
    case TrackInfoWindow::Album: return orDash(t.album);
    case TrackInfoWindow::TrackNumber: return orDash(t.track);
    case TrackInfoWindow::Genre: return orDash(details.genre);
    case TrackInfoWindow::FieldCount: break;
    }
    return {};
}

}  // namespace

TrackInfoWindow::TrackInfoWindow(Player& player, OperationQueue& queue, QWidget* parent)
    : QWidget(parent, Qt::Window),
      player_(player),
      loader_(queue),
      heading_(new QLabel(this)),
      thumbnail_(new QLabel(this)),
      stack_(new QStackedWidget(this)),
      tabs_(new QTabWidget(this)),
      missing_(new QLabel(this)),
      lyrics_(new QPlainTextEdit(this)),
      chapters_(new QTableWidget(0, 3, this)),
      artwork_(new QLabel(this)),
      artworkSize_(new QLabel(this)) {
    setObjectName(QStringLiteral("TrackInfoWindow"));
    setWindowTitle(tr("Track Info"));
    QFont headingFont = heading_->font();
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.2);
    headingFont.setBold(true);
    heading_->setFont(headingFont);
    heading_->setWordWrap(true);
    heading_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    missing_->setWordWrap(true);
    missing_->setAlignment(Qt::AlignCenter);
    missing_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lyrics_->setReadOnly(true);
    lyrics_->document()->setDocumentMargin(8);
    lyrics_->setAccessibleName(tr("Lyrics"));
    chapters_->setHorizontalHeaderLabels({tr("Start"), tr("End"), tr("Title")});
    chapters_->setAccessibleName(tr("Chapters"));
    chapters_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    chapters_->setSelectionBehavior(QAbstractItemView::SelectRows);
    chapters_->setShowGrid(false);
    chapters_->setAlternatingRowColors(true);
    chapters_->verticalHeader()->hide();
    chapters_->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
    chapters_->setToolTip(tr("Double-click a chapter to go there while the track plays"));

    tabs_->addTab(buildProperties(), tr("Info"));
    tabs_->addTab(lyrics_, tr("Lyrics"));
    tabs_->addTab(chapters_, tr("Chapters"));
    tabs_->addTab(buildArtwork(), tr("Artwork"));
    stack_->addWidget(tabs_);
    stack_->addWidget(missing_);
    thumbnail_->setFixedSize(kThumbnailSide, kThumbnailSide);
    thumbnail_->hide();
    thumbnail_->setAlignment(Qt::AlignCenter);
    auto* top = new QHBoxLayout;
    top->addWidget(thumbnail_);
    top->addWidget(heading_, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(stack_, 1);
    resize(560, 480);
    // Escape closes it, as it would a dialog.
    connect(new QShortcut(QKeySequence::Cancel, this), &QShortcut::activated, this, &QWidget::close);

    connect(&loader_, &TrackInfoLoader::loaded, this, &TrackInfoWindow::present);
    connect(chapters_, &QTableWidget::cellDoubleClicked, this, [this](int row) {
        if (!details_ || row < 0 || row >= details_->track.chapters.size() || !showsCurrentTrack()) return;
        player_.seek(false, details_->track.chapters[row].start);
    });
    refreshTimer_.setInterval(1000);
    connect(&refreshTimer_, &QTimer::timeout, this, &TrackInfoWindow::refreshCurrentChapter);
    connect(&player_, qOverload<PlaylistItemRef>(&Player::seek), this, &TrackInfoWindow::refreshCurrentChapter);
    connect(&player_, &Player::trackSetup, this, &TrackInfoWindow::refreshCurrentChapter);
    connect(&player_, &Player::playbackStopped, this, &TrackInfoWindow::refreshCurrentChapter);
}

QWidget* TrackInfoWindow::buildProperties() {
    auto* page = new QWidget(this);
    auto* properties = new QGroupBox(tr("File"), page);
    auto* tags = new QGroupBox(tr("Tags"), page);
    auto* propertiesForm = new QFormLayout(properties);
    auto* tagsForm = new QFormLayout(tags);
    for (int field = 0; field < FieldCount; ++field) {
        auto* value = new QLabel(page);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setWordWrap(field == Path);
        fields_[size_t(field)] = value;
        (field < Title ? propertiesForm : tagsForm)->addRow(tr(kFieldTitles[size_t(field)]), value);
    }
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(properties);
    layout->addWidget(tags);
    layout->addStretch();
    return page;
}

QWidget* TrackInfoWindow::buildArtwork() {
    auto* page = new QWidget(this);
    artwork_->setAlignment(Qt::AlignCenter);
    artwork_->setAccessibleName(tr("Artwork"));
    auto* scroll = new QScrollArea(page);
    scroll->setWidget(artwork_);
    scroll->setWidgetResizable(true);
    scroll->setAlignment(Qt::AlignCenter);
    artworkSize_->setAlignment(Qt::AlignCenter);
    artworkSize_->setForegroundRole(QPalette::PlaceholderText);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(scroll, 1);
    layout->addWidget(artworkSize_);
    return page;
}

void TrackInfoWindow::showTrack(const QString& path) {
    heading_->setText(QFileInfo(path).fileName());
    setWindowTitle(tr("Track Info — %1").arg(QFileInfo(path).fileName()));
    loader_.load(path, int(kThumbnailSide * devicePixelRatioF()));
    show();
    raise();
    activateWindow();
}

QString TrackInfoWindow::fieldText(Field field) const { return fields_[size_t(field)]->text(); }

void TrackInfoWindow::present(const TrackDetails& details) {
    details_ = details;
    if (details.missing) {
        heading_->setText(QFileInfo(details.path).fileName());
        missing_->setText(tr("The file is gone or cannot be read:\n%1").arg(QDir::toNativeSeparators(details.path)));
        stack_->setCurrentWidget(missing_);
        thumbnail_->hide();
        fillChapters({});
        emit shown();
        return;
    }
    const Track& track = details.track;
    heading_->setText(track.artist.isEmpty() ? track.title : QStringLiteral("%1 — %2").arg(track.title, track.artist));
    for (int field = 0; field < FieldCount; ++field) fields_[size_t(field)]->setText(fieldValue(Field(field), details));
    lyrics_->setPlainText(track.lyrics.value_or(QString()));
    lyrics_->setPlaceholderText(tr("No lyrics"));
    fillChapters(track.chapters);
    tabs_->setTabEnabled(1, track.lyrics.has_value());
    tabs_->setTabEnabled(2, !track.chapters.isEmpty());
    tabs_->setTabEnabled(3, !details.artwork.isNull());
    if (!tabs_->isTabEnabled(tabs_->currentIndex())) tabs_->setCurrentIndex(0);
    artwork_->setPixmap(details.artwork.isNull() ? QPixmap() : QPixmap::fromImage(details.artwork));
    QPixmap thumbnail = QPixmap::fromImage(details.thumbnail);
    thumbnail.setDevicePixelRatio(devicePixelRatioF());
    thumbnail_->setPixmap(thumbnail);
    thumbnail_->setVisible(!details.thumbnail.isNull());
    artworkSize_->setText(details.artwork.isNull() ? QString()
                                                   : tr("%1 × %2 pixels").arg(details.artwork.width()).arg(details.artwork.height()));
    stack_->setCurrentWidget(tabs_);
    refreshCurrentChapter();
    emit shown();
}

void TrackInfoWindow::fillChapters(const QList<Chapter>& chapters) {
    currentChapter_ = -1;
    chapters_->setRowCount(int(chapters.size()));
    for (int row = 0; row < chapters.size(); ++row) {
        const Chapter& chapter = chapters[row];
        chapters_->setItem(row, 0, new QTableWidgetItem(formatDuration(false, chapter.start)));
        chapters_->setItem(row, 1, new QTableWidgetItem(formatDuration(false, chapter.end)));
        chapters_->setItem(row, 2, new QTableWidgetItem(chapter.title));
    }
    // Room for the mark of the chapter playing, in bold.
    const int timeWidth = chapters_->fontMetrics().horizontalAdvance(QStringLiteral("▶ 00:00:00")) + 24;
    chapters_->setColumnWidth(0, timeWidth);
    chapters_->setColumnWidth(1, timeWidth);
}

bool TrackInfoWindow::showsCurrentTrack() const {
    const PlaylistItemRef& current = player_.current();
    return details_ && !details_->missing && current && current->track()->path == details_->path;
}

void TrackInfoWindow::refreshCurrentChapter() {
    int playing = -1;
    if (showsCurrentTrack()) {
        const double elapsed = player_.elapsed();
        const QList<Chapter>& chapters = details_->track.chapters;
        for (int row = 0; row < chapters.size(); ++row) {
            if (elapsed >= chapters[row].start && elapsed < chapters[row].end) playing = row;
        }
    }
    if (playing == currentChapter_) return;
    for (const int row : {currentChapter_, playing}) {
        if (row < 0 || row >= chapters_->rowCount()) continue;
        for (int column = 0; column < chapters_->columnCount(); ++column) {
            QTableWidgetItem* item = chapters_->item(row, column);
            QFont font = item->font();
            font.setBold(row == playing);
            item->setFont(font);
        }
        const QString start = formatDuration(false, details_->track.chapters[row].start);
        chapters_->item(row, 0)->setText(row == playing ? QStringLiteral("▶ ") + start : start);
    }
    currentChapter_ = playing;
}

void TrackInfoWindow::showEvent(QShowEvent* event) {
    refreshTimer_.start();
    refreshCurrentChapter();
    QWidget::showEvent(event);
}

void TrackInfoWindow::hideEvent(QHideEvent* event) {
    refreshTimer_.stop();
    QWidget::hideEvent(event);
}

}  // namespace sonvale
