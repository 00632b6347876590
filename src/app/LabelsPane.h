#pragma once

#include <QTimer>
#include <QWidget>

#include <array>

class QCheckBox;
class QComboBox;
class QLabel;

namespace sonvale {

class Notifications;
class Player;
class Preferences;
struct Tags;

// The preferences' labels pane: for each of the main window's four labels (title, subtitle,
// left, right, in the order of Labels::keys) the eleven tags it may show and the separator
// between them, with a preview composed from the current track and the playlist as the main
// window composes it. Every change is saved at once and announced ("labelsChanged"). Main
// thread only; the preferences, notifications and player must outlive the pane.
class LabelsPane : public QWidget {
    Q_OBJECT
public:
    static constexpr int kTagCount = 11;

    LabelsPane(Preferences& preferences, Notifications& notifications, Player& player, QWidget* parent = nullptr);

    // Shows the preferences' templates again.
    void refresh();
    // The previews, from the current track and the playlist.
    void refreshPreviews();

    // The check box of tag `tag` (field order of Tags) of label `label` (order of Labels::keys).
    QCheckBox* tagBox(size_t label, int tag) const { return boxes_[label][size_t(tag)]; }
    QComboBox* separator(size_t label) const { return separators_[label]; }
    QLabel* preview(size_t label) const { return previews_[label]; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* buildGroup(size_t label);
    // Refreshes the previews soon, once for a burst of player changes, and only while shown:
    // a large playlist's metadata arrives item by item.
    void schedulePreviews();
    void changed(size_t label);

    Preferences& preferences_;
    Notifications& notifications_;
    Player& player_;
    std::array<std::array<QCheckBox*, kTagCount>, 4> boxes_{};
    std::array<QComboBox*, 4> separators_{};
    std::array<QLabel*, 4> previews_{};
    QTimer previewTimer_;
};

}  // namespace sonvale
