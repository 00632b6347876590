#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <optional>

// A private MPD over a music tree, for the scan benchmark: its configuration in `workDir` (the
// database file, a unix socket there, a null output, no state file, no automatic updates), the
// daemon run in the foreground as a child process and spoken to in its text protocol over the
// socket. Nothing listens on the network. Every wait is bounded; the destructor stops the
// daemon. One thread.
class MpdRunner {
public:
    MpdRunner(QString musicDirectory, QString workDir);
    ~MpdRunner();
    MpdRunner(const MpdRunner&) = delete;
    MpdRunner& operator=(const MpdRunner&) = delete;

    // Writes the configuration, starts the daemon and waits for its greeting. A daemon started
    // without a database file begins a full update on its own. False, with a message on
    // stderr, when it does not answer within `seconds`.
    bool start(double seconds = 30);
    // The lines of the answer to `command` (a line without its newline) before its "OK";
    // nullopt on an error answer, a broken connection or a time-out.
    std::optional<QStringList> command(const QByteArray& command, double seconds = 30);
    // Polls the status until no update is running; false on a time-out or a broken connection.
    bool waitWhileUpdating(double seconds);
    // The "songs" figure of the statistics; -1 when unknown.
    qint64 songs();
    // The daemon's peak resident set (VmHWM) in KiB; -1 when not running.
    qint64 peakRssKiB() const;
    // The CPU time the daemon has used so far, all its threads (those ended too), user and
    // system, in seconds; the kernel counts it in ticks of 10 ms. -1 when not running.
    double cpuSeconds() const;
    // Terminates the daemon and waits for it (killed when it does not end in ten seconds).
    void stop();
    QString databaseFile() const { return workDir_ + QStringLiteral("/mpd.db"); }

private:
    bool connectSocket(double seconds);
    // One line without its newline; false on a time-out or end of stream.
    bool readLine(QByteArray& line, double seconds);

    QString musicDirectory_;
    QString workDir_;
    QProcess process_;
    int fd_ = -1;
    QByteArray buffer_;
};
