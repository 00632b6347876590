#pragma once

#include <QWidget>

class QPushButton;

namespace sonvale {

// What the main window shows instead of an empty playlist: an invitation to drop music on it or
// to open it, drawn with a highlighted frame while files are dragged over the window.
class EmptyPlaylistView : public QWidget {
    Q_OBJECT
public:
    explicit EmptyPlaylistView(QWidget* parent = nullptr);

    // While files are dragged over the window.
    void setDragActive(bool active);

signals:
    void openRequested();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPushButton* openButton_;
    bool dragActive_ = false;
};

}  // namespace sonvale
