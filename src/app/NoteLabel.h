#pragma once

class QLabel;
class QString;
class QWidget;

namespace sonvale {

// A line of explanation under a setting, in the palette's quiet text colour. Main thread only;
// the label belongs to `parent`.
QLabel* makeNoteLabel(const QString& text, QWidget* parent);

}  // namespace sonvale
