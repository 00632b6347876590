#pragma once

#include <QObject>

class QSocketNotifier;

namespace sonvale {

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the main thread, so that the program ends
// through its normal way out (and saves what it must) when the session or a terminal ends it.
// One instance per process; it restores the default handlers when destroyed.
class SignalWatcher : public QObject {
    Q_OBJECT
public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

signals:
    void terminationRequested(int signal);

private:
    QSocketNotifier* notifier_ = nullptr;
};

}  // namespace sonvale
