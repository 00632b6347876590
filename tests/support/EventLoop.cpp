#include "EventLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>

bool spinUntil(const std::function<bool()>& done, double seconds) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > seconds * 1000) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
