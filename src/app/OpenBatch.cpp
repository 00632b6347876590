#include "OpenBatch.h"

#include "Track.h"

#include <algorithm>

namespace sonvale {

OpenBatch::OpenBatch(QObject* parent) : QObject(parent) {
    dropTimer_.setSingleShot(true);
    dropTimer_.setInterval(250);
    connect(&dropTimer_, &QTimer::timeout, this, &OpenBatch::fire);
}

void OpenBatch::add(const QStringList& paths) {
    queuedFiles_.append(paths);
    dropTimer_.start();
}

void OpenBatch::fire() {
    if (queuedFiles_.isEmpty()) return;
    QStringList paths = std::move(queuedFiles_);
    queuedFiles_.clear();
    std::stable_sort(paths.begin(), paths.end(),
                     [](const QString& a, const QString& b) { return comparePaths(a, b) < 0; });
    emit ready(paths);
}

}  // namespace sonvale
