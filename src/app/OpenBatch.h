#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>

namespace sonvale {

// Collects the paths the desktop hands over one request at a time (a file manager opens three
// selected files as three requests) and releases them as one batch once no request has come for
// the collection interval: sorted as paths sort everywhere in Sonvale (case-insensitive, numeric,
// accent-insensitive: "b2" before "B10"). Main thread only.
class OpenBatch : public QObject {
    Q_OBJECT
public:
    explicit OpenBatch(QObject* parent = nullptr);

    // Adds `paths` to the batch and restarts the collection interval.
    void add(const QStringList& paths);
    // 250 ms unless changed; for tests.
    void setInterval(int milliseconds) { dropTimer_.setInterval(milliseconds); }

signals:
    // The collected paths, sorted; never empty.
    void ready(QStringList paths);

private:
    void fire();

    QStringList queuedFiles_;
    QTimer dropTimer_;
};

}  // namespace sonvale
