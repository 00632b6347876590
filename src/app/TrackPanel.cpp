#include "TrackPanel.h"

#include "AppActions.h"
#include "CoverView.h"
#include "ElidedLabel.h"
#include "Icons.h"
#include "LabelText.h"
#include "Player.h"
#include "Preferences.h"
#include "SeekSlider.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWindow>

#include <cmath>

namespace sonvale {

namespace {

constexpr int kCoverSide = 112;

QToolButton* makeButton(QWidget* parent, const QString& name, int iconSide) {
    auto* button = new QToolButton(parent);
    button->setAccessibleName(name);
    button->setToolTip(name);
    button->setAutoRaise(true);
    button->setIconSize(QSize(iconSide, iconSide));
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

}  // namespace

TrackPanel::TrackPanel(Player& player, Preferences& preferences, OperationQueue& artworkQueue, QWidget* parent)
    : QWidget(parent),
      player_(player),
      preferences_(preferences),
      cover_(new CoverView(artworkQueue, kCoverSide, this)),
      titleLabel_(new ElidedLabel(this)),
      subtitleLabel_(new ElidedLabel(this)),
      trackInfoLabel_(new ElidedLabel(this)),
      totalsLabel_(new ElidedLabel(this)),
      previousButton_(makeButton(this, tr("Previous"), 22)),
      playButton_(makeButton(this, tr("Play"), 30)),
      nextButton_(makeButton(this, tr("Next"), 22)),
      timeLeft_(new QLabel(this)),
      timeRight_(makeButton(this, tr("Remaining time (click for the total)"), 16)),
      seekSlider_(new SeekSlider(this)),
      volumeSlider_(new QSlider(Qt::Horizontal, this)),
      playbackModeButton_(makeButton(this, tr("Playback mode"), 20)) {
    build();
    connectControls();
    refreshIcons();
    refreshLabels();
    refreshTime();
    refreshButtons();
    refreshMode();
}

void TrackPanel::build() {
    QFont titleFont = titleLabel_->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.35);
    titleFont.setBold(true);
    titleLabel_->setFont(titleFont);
    QFont smallFont = trackInfoLabel_->font();
    smallFont.setPointSizeF(smallFont.pointSizeF() * 0.9);
    trackInfoLabel_->setFont(smallFont);
    totalsLabel_->setFont(smallFont);
    totalsLabel_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    trackInfoLabel_->setForegroundRole(QPalette::PlaceholderText);
    totalsLabel_->setForegroundRole(QPalette::PlaceholderText);
    timeLeft_->setAccessibleName(tr("Elapsed time"));
    timeLeft_->setMinimumWidth(timeLeft_->fontMetrics().horizontalAdvance(QStringLiteral("-00:00:00")));
    timeLeft_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    timeRight_->setToolButtonStyle(Qt::ToolButtonTextOnly);
    timeRight_->setMinimumWidth(timeLeft_->minimumWidth());
    seekSlider_->setAccessibleName(tr("Position"));
    seekSlider_->setToolTip(tr("Position in the track"));
    volumeSlider_->setRange(0, 100);
    volumeSlider_->setFixedWidth(96);
    volumeSlider_->setAccessibleName(tr("Volume"));
    volumeSlider_->setValue(int(std::lround(player_.volume() * 100)));
    volumeSlider_->setToolTip(tr("Volume: %1%").arg(volumeSlider_->value()));

    auto* text = new QVBoxLayout;
    text->setSpacing(2);
    text->addStretch();
    text->addWidget(titleLabel_);
    text->addWidget(subtitleLabel_);
    text->addStretch();
    text->addWidget(buildControls());
    auto* infoRow = new QHBoxLayout;
    infoRow->addWidget(trackInfoLabel_, 1);
    infoRow->addWidget(totalsLabel_, 1);
    text->addLayout(infoRow);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 6);
    layout->setSpacing(12);
    layout->addWidget(cover_, 0, Qt::AlignTop);
    layout->addLayout(text, 1);
}

QWidget* TrackPanel::buildControls() {
    auto* controls = new QWidget(this);
    controls->setObjectName(QStringLiteral("controls"));
    auto* row = new QHBoxLayout(controls);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    row->addWidget(previousButton_);
    row->addWidget(playButton_);
    row->addWidget(nextButton_);
    row->addSpacing(6);
    row->addWidget(timeLeft_);
    row->addWidget(seekSlider_, 1);
    row->addWidget(timeRight_);
    row->addSpacing(6);
    row->addWidget(playbackModeButton_);
    row->addWidget(volumeSlider_);
    return controls;
}

void TrackPanel::connectControls() {
    connect(previousButton_, &QToolButton::clicked, this, [this] { player_.playPrevious(); });
    connect(nextButton_, &QToolButton::clicked, this, [this] { player_.playNext(); });
    connect(playButton_, &QToolButton::clicked, this, [this] {
        if (player_.isPlaying()) {
            player_.pause();
        } else if (!player_.play()) {
            emit playRequestedWithoutCurrent();
        }
    });
    connect(playbackModeButton_, &QToolButton::clicked, this,
            [this] { player_.setPlaybackMode(nextPlaybackMode(player_.playbackMode())); });
    connect(timeRight_, &QToolButton::clicked, this, [this] {
        preferences_.timeRightTotal = !preferences_.timeRightTotal;
        preferences_.save();
        refreshTime();
    });
    connect(volumeSlider_, &QSlider::valueChanged, this, [this](int value) {
        player_.setVolume(float(value) / 100.0f);
        volumeSlider_->setToolTip(tr("Volume: %1%").arg(value));
    });
    // The volume may also change from outside (the media controls).
    connect(&player_, &Player::volumeChanged, this, [this] {
        const QSignalBlocker block(volumeSlider_);
        volumeSlider_->setValue(int(std::lround(player_.volume() * 100)));
        volumeSlider_->setToolTip(tr("Volume: %1%").arg(volumeSlider_->value()));
    });
    titleLabel_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(titleLabel_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        if (!player_.current()) return;
        QMenu menu(this);
        menu.addAction(tr("Show Info"), this, &TrackPanel::showInfoRequested);
        menu.exec(titleLabel_->mapToGlobal(at));
    });
    seekSlider_->onDragEnded = [this](double seconds) {
        player_.seek(false, seconds);
        refreshTime();
    };
}

void TrackPanel::refreshLabels() {
    const PlaylistItemRef& current = player_.current();
    const Track* track = current ? current->track().get() : nullptr;
    const QList<PlaylistItemRef>& items = player_.playlist().items;
    double total = 0;
    for (const PlaylistItemRef& item : items) total += item->track()->duration;
    const Labels& labels = preferences_.labels;
    titleLabel_->setFullText(composeLabel(labels.title, track, items.size(), total));
    subtitleLabel_->setFullText(composeLabel(labels.subtitle, track, items.size(), total));
    trackInfoLabel_->setFullText(composeLabel(labels.left, track, items.size(), total));
    totalsLabel_->setFullText(composeLabel(labels.right, track, items.size(), total));
    if (!track && titleLabel_->fullText().isEmpty()) titleLabel_->setFullText(tr("Not playing"));
}

void TrackPanel::refreshTime() {
    const PlaylistItemRef& current = player_.current();
    const double duration = current ? current->track()->duration : 0;
    const double elapsed = current ? player_.elapsed() : 0;
    seekSlider_->setEnabled(current != nullptr);
    seekSlider_->showPosition(elapsed, duration);
    timeLeft_->setText(current ? formatDuration(false, elapsed) : QString());
    const QString right = !current ? QString()
                          : preferences_.timeRightTotal ? formatDuration(false, duration)
                                                        : formatDuration(true, duration - elapsed);
    timeRight_->setText(right);
    timeRight_->setAccessibleName(preferences_.timeRightTotal ? tr("Total time") : tr("Remaining time"));
    timeRight_->setToolTip(preferences_.timeRightTotal ? tr("Total time (click for the remaining time)")
                                                       : tr("Remaining time (click for the total)"));
}

void TrackPanel::refreshButtons() {
    const bool playing = player_.isPlaying();
    playButton_->setIcon(Icons::glyph(playing ? Icons::Glyph::Pause : Icons::Glyph::Play,
                                      palette().color(QPalette::ButtonText)));
    playButton_->setAccessibleName(playing ? tr("Pause") : tr("Play"));
    playButton_->setToolTip(playButton_->accessibleName());
    playButton_->setEnabled(playing || player_.current() || !player_.playlist().items.isEmpty());
    previousButton_->setEnabled(player_.hasPrevious());
    nextButton_->setEnabled(player_.hasNext());
}

void TrackPanel::refreshMode() {
    const PlaybackMode mode = player_.playbackMode();
    playbackModeButton_->setIcon(Icons::playbackMode(mode, palette().color(QPalette::ButtonText)));
    const QString tip = tr("Playback mode: %1 (click for %2)")
                            .arg(playbackModeTitle(mode), playbackModeTitle(nextPlaybackMode(mode)));
    playbackModeButton_->setToolTip(tip);
    playbackModeButton_->setAccessibleName(tr("Playback mode: %1").arg(playbackModeTitle(mode)));
}

void TrackPanel::refreshIcons() {
    const QColor color = palette().color(QPalette::ButtonText);
    previousButton_->setIcon(Icons::glyph(Icons::Glyph::Previous, color));
    nextButton_->setIcon(Icons::glyph(Icons::Glyph::Next, color));
    refreshButtons();
    refreshMode();
}

void TrackPanel::mousePressEvent(QMouseEvent* event) {
    // Only the empty background: every control and label keeps its own clicks.
    const QWidget* child = childAt(event->position().toPoint());
    const bool background = !child || child->objectName() == QLatin1String("controls");
    if (event->button() == Qt::LeftButton && background && window()->windowHandle()) {
        window()->windowHandle()->startSystemMove();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void TrackPanel::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) refreshIcons();
}

}  // namespace sonvale
