#pragma once

#include <QDialog>

namespace sonvale {

// The About box: the program's name, version and licence, and the versions of the libraries it
// runs on (Qt, FFmpeg, SQLite, the PulseAudio client library), as loaded in this process.
// Main thread only.
class AboutDialog : public QDialog {
    Q_OBJECT
public:
    explicit AboutDialog(QWidget* parent = nullptr);

    // "Qt 6.4.2", "FFmpeg 5.1.6 (...)", ... one line per library, read at run time.
    static QStringList libraryVersions();
};

}  // namespace sonvale
