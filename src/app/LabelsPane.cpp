#include "LabelsPane.h"

#include "LabelText.h"
#include "Labels.h"
#include "Notifications.h"
#include "Player.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

namespace sonvale {

namespace {

struct TagChoice {
    const char* title;
    bool Tags::*flag;
};

// In the field order of Tags, which is the order the templates are stored in.
const std::array<TagChoice, LabelsPane::kTagCount> kTagChoices = {{
    {QT_TRANSLATE_NOOP("LabelsPane", "Title"), &Tags::track},
    {QT_TRANSLATE_NOOP("LabelsPane", "Album"), &Tags::album},
    {QT_TRANSLATE_NOOP("LabelsPane", "Artist"), &Tags::artist},
    {QT_TRANSLATE_NOOP("LabelsPane", "Track number"), &Tags::trackNumber},
    {QT_TRANSLATE_NOOP("LabelsPane", "Duration"), &Tags::trackDuration},
    {QT_TRANSLATE_NOOP("LabelsPane", "Bit rate"), &Tags::bitrate},
    {QT_TRANSLATE_NOOP("LabelsPane", "Channels"), &Tags::channels},
    {QT_TRANSLATE_NOOP("LabelsPane", "Format"), &Tags::format},
    {QT_TRANSLATE_NOOP("LabelsPane", "Sample rate"), &Tags::sampleRate},
    {QT_TRANSLATE_NOOP("LabelsPane", "Playlist count"), &Tags::playlistCount},
    {QT_TRANSLATE_NOOP("LabelsPane", "Playlist duration"), &Tags::playlistDuration},
}};

const std::array<const char*, 4> kLabelTitles = {
    QT_TRANSLATE_NOOP("LabelsPane", "Title line"), QT_TRANSLATE_NOOP("LabelsPane", "Subtitle line"),
    QT_TRANSLATE_NOOP("LabelsPane", "Left line"), QT_TRANSLATE_NOOP("LabelsPane", "Right line")};

}  // namespace

LabelsPane::LabelsPane(Preferences& preferences, Notifications& notifications, Player& player, QWidget* parent)
    : QWidget(parent), preferences_(preferences), notifications_(notifications), player_(player) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    for (size_t label = 0; label < Labels::keys.size(); ++label) column->addWidget(buildGroup(label));
    column->addStretch();
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(scroll);

    refresh();
    previewTimer_.setSingleShot(true);
    previewTimer_.setInterval(100);
    connect(&previewTimer_, &QTimer::timeout, this, &LabelsPane::refreshPreviews);
    // The previews follow what the main window's labels follow.
    connect(&player_, &Player::trackSetup, this, &LabelsPane::schedulePreviews);
    connect(&player_, &Player::trackChanged, this, &LabelsPane::schedulePreviews);
    connect(&player_, &Player::playbackStopped, this, &LabelsPane::schedulePreviews);
    connect(&player_, &Player::playlistUpdated, this, &LabelsPane::schedulePreviews);
    connect(&player_, &Player::metaLoaded, this, &LabelsPane::schedulePreviews);
}

void LabelsPane::schedulePreviews() {
    if (isVisible() && !previewTimer_.isActive()) previewTimer_.start();
}

void LabelsPane::showEvent(QShowEvent* event) {
    refreshPreviews();
    QWidget::showEvent(event);
}

QWidget* LabelsPane::buildGroup(size_t label) {
    auto* group = new QGroupBox(tr(kLabelTitles[label]), this);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(2);
    constexpr int kColumns = 4;
    for (int tag = 0; tag < kTagCount; ++tag) {
        auto* box = new QCheckBox(tr(kTagChoices[size_t(tag)].title), group);
        boxes_[label][size_t(tag)] = box;
        grid->addWidget(box, tag / kColumns, tag % kColumns);
        connect(box, &QCheckBox::toggled, this, [this, label] { changed(label); });
    }
    auto* separator = new QComboBox(group);
    separator->addItem(tr("Space"), int(TagSeparator::Space));
    separator->addItem(tr("Comma  ( , )"), int(TagSeparator::Comma));
    separator->addItem(tr("Dash  ( - )"), int(TagSeparator::Dash));
    separator->addItem(tr("Long dash  ( — )"), int(TagSeparator::LongDash));
    separator->setAccessibleName(tr("Separator"));
    separators_[label] = separator;
    connect(separator, &QComboBox::currentIndexChanged, this, [this, label] { changed(label); });
    auto* preview = new QLabel(group);
    preview->setAccessibleName(tr("Preview"));
    preview->setTextInteractionFlags(Qt::TextSelectableByMouse);
    preview->setMinimumWidth(0);
    preview->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    previews_[label] = preview;

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(new QLabel(tr("Separator:"), group));
    bottom->addWidget(separator);
    bottom->addSpacing(12);
    bottom->addWidget(new QLabel(tr("Preview:"), group));
    bottom->addWidget(preview, 1);
    auto* layout = new QVBoxLayout(group);
    layout->addLayout(grid);
    layout->addLayout(bottom);
    return group;
}

void LabelsPane::refresh() {
    for (size_t label = 0; label < Labels::keys.size(); ++label) {
        const Tags& tags = preferences_.labels.byKey(label);
        for (size_t tag = 0; tag < kTagChoices.size(); ++tag) {
            const QSignalBlocker block(boxes_[label][tag]);
            boxes_[label][tag]->setChecked(tags.*(kTagChoices[tag].flag));
        }
        const QSignalBlocker block(separators_[label]);
        separators_[label]->setCurrentIndex(separators_[label]->findData(int(tags.separator)));
    }
    refreshPreviews();
}

void LabelsPane::refreshPreviews() {
    const PlaylistItemRef& current = player_.current();
    const Track* track = current ? current->track().get() : nullptr;
    const QList<PlaylistItemRef>& items = player_.playlist().items;
    double total = 0;
    for (const PlaylistItemRef& item : items) total += item->track()->duration;
    for (size_t label = 0; label < Labels::keys.size(); ++label) {
        const QString text = composeLabel(preferences_.labels.byKey(label), track, items.size(), total);
        previews_[label]->setText(text.isEmpty() ? tr("(empty)") : text);
        previews_[label]->setForegroundRole(text.isEmpty() ? QPalette::PlaceholderText : QPalette::WindowText);
        previews_[label]->setToolTip(text);
    }
}

void LabelsPane::changed(size_t label) {
    Tags& tags = preferences_.labels.byKey(label);
    for (size_t tag = 0; tag < kTagChoices.size(); ++tag) tags.*(kTagChoices[tag].flag) = boxes_[label][tag]->isChecked();
    tags.separator = tagSeparatorFromRaw(separators_[label]->currentData().toInt()).value_or(TagSeparator::Space);
    preferences_.save();
    notifications_.post(&Notifications::labelsChanged);
    refreshPreviews();
}

}  // namespace sonvale
