#pragma once

#include <QStringList>

#include <algorithm>
#include <QtGlobal>

// Collects the messages logged while it lives (one capture at a time).
class LogCapture {
public:
    LogCapture() { previous_ = qInstallMessageHandler(&LogCapture::handle); }
    ~LogCapture() {
        qInstallMessageHandler(previous_);
        lines().clear();
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static QStringList& lines() {
        static QStringList collected;
        return collected;
    }
    // How many collected lines contain `part`.
    static qsizetype count(const QString& part) {
        return std::count_if(lines().cbegin(), lines().cend(), [&](const QString& line) { return line.contains(part); });
    }

private:
    QtMessageHandler previous_ = nullptr;

    static void handle(QtMsgType, const QMessageLogContext& context, const QString& message) {
        lines().append(QString::fromUtf8(context.category) + QStringLiteral(": ") + message);
    }
};
