#include "MpdRunner.h"

#include <QFile>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

QByteArray quoted(const QString& text) { return '"' + text.toUtf8() + '"'; }

}  // namespace

MpdRunner::MpdRunner(QString musicDirectory, QString workDir)
    : musicDirectory_(std::move(musicDirectory)), workDir_(std::move(workDir)) {}

MpdRunner::~MpdRunner() { stop(); }

bool MpdRunner::start(double seconds) {
    const QString config = workDir_ + QStringLiteral("/mpd.conf");
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly)) return false;
    file.write("music_directory " + quoted(musicDirectory_) + "\n" + "db_file " + quoted(databaseFile()) + "\n" +
               "bind_to_address " + quoted(workDir_ + QStringLiteral("/mpd.socket")) + "\n" +
               "log_file " + quoted(workDir_ + QStringLiteral("/mpd.log")) + "\n" +
               "auto_update \"no\"\n"
               "audio_output {\n  type \"null\"\n  name \"null\"\n}\n");
    file.close();
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.setStandardOutputFile(workDir_ + QStringLiteral("/mpd.out"));
    process_.start(QStringLiteral("mpd"), {QStringLiteral("--no-daemon"), config});
    if (!process_.waitForStarted(10000)) {
        std::fprintf(stderr, "mpd did not start: %s\n", qPrintable(process_.errorString()));
        return false;
    }
    if (!connectSocket(seconds)) {
        std::fprintf(stderr, "mpd did not answer on its socket within %.0f s\n", seconds);
        stop();
        return false;
    }
    return true;
}

bool MpdRunner::connectSocket(double seconds) {
    const QByteArray path = (workDir_ + QStringLiteral("/mpd.socket")).toUtf8();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype(sizeof(address.sun_path))) return false;
    std::memcpy(address.sun_path, path.constData(), path.size());
    const auto start = Clock::now();
    while (secondsSince(start) < seconds && process_.state() == QProcess::Running) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd_ >= 0 && ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            QByteArray greeting;
            return readLine(greeting, seconds - secondsSince(start)) && greeting.startsWith("OK MPD");
        }
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

bool MpdRunner::readLine(QByteArray& line, double seconds) {
    const auto start = Clock::now();
    for (;;) {
        const qsizetype end = buffer_.indexOf('\n');
        if (end >= 0) {
            line = buffer_.left(end);
            buffer_.remove(0, end + 1);
            return true;
        }
        const double left = seconds - secondsSince(start);
        if (left <= 0) return false;
        pollfd entry{fd_, POLLIN, 0};
        if (::poll(&entry, 1, int(left * 1000) + 1) <= 0) return false;
        char chunk[4096];
        const ssize_t got = ::read(fd_, chunk, sizeof(chunk));
        if (got <= 0) return false;
        buffer_.append(chunk, got);
    }
}

std::optional<QStringList> MpdRunner::command(const QByteArray& command, double seconds) {
    if (fd_ < 0) return std::nullopt;
    const QByteArray request = command + '\n';
    if (::send(fd_, request.constData(), request.size(), MSG_NOSIGNAL) != request.size()) return std::nullopt;
    QStringList lines;
    QByteArray line;
    const auto start = Clock::now();
    while (readLine(line, seconds - secondsSince(start))) {
        if (line == "OK") return lines;
        if (line.startsWith("ACK")) {
            std::fprintf(stderr, "mpd: %s: %s\n", command.constData(), line.constData());
            return std::nullopt;
        }
        lines.append(QString::fromUtf8(line));
    }
    return std::nullopt;
}

bool MpdRunner::waitWhileUpdating(double seconds) {
    const auto start = Clock::now();
    while (secondsSince(start) < seconds) {
        const std::optional<QStringList> status = command("status");
        if (!status) return false;
        bool updating = false;
        for (const QString& line : *status) updating = updating || line.startsWith(QLatin1String("updating_db:"));
        if (!updating) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::fprintf(stderr, "mpd was still updating after %.0f s\n", seconds);
    return false;
}

qint64 MpdRunner::songs() {
    const std::optional<QStringList> stats = command("stats");
    if (!stats) return -1;
    for (const QString& line : *stats) {
        if (line.startsWith(QLatin1String("songs: "))) return line.mid(7).toLongLong();
    }
    return -1;
}

qint64 MpdRunner::peakRssKiB() const {
    if (process_.state() != QProcess::Running) return -1;
    QFile status(QStringLiteral("/proc/%1/status").arg(process_.processId()));
    if (!status.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:")) return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

double MpdRunner::cpuSeconds() const {
    if (process_.state() != QProcess::Running) return -1;
    QFile stat(QStringLiteral("/proc/%1/stat").arg(process_.processId()));
    if (!stat.open(QIODevice::ReadOnly)) return -1;
    // The fields after the command name, which is in parentheses and may hold spaces: utime
    // and stime are the 12th and 13th of them.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13) return -1;
    return double(fields[11].toLongLong() + fields[12].toLongLong()) / double(::sysconf(_SC_CLK_TCK));
}

void MpdRunner::stop() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    buffer_.clear();
    if (process_.state() == QProcess::NotRunning) return;
    process_.terminate();
    if (!process_.waitForFinished(10000)) {
        process_.kill();
        process_.waitForFinished(5000);
    }
}
