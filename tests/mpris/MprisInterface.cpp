#include "MprisInterface.h"

#include "EventLoop.h"

#include <QDBusPendingCall>

MprisInterface::MprisInterface(const QString& service, const char* interface, const QDBusConnection& bus)
    : QDBusAbstractInterface(service, QStringLiteral("/org/mpris/MediaPlayer2"), interface, bus, nullptr) {}

QDBusMessage MprisInterface::callAndWait(const QString& method, const QVariantList& args) {
    QDBusPendingCall call = asyncCallWithArgumentList(method, args);
    if (spinUntil([&] { return call.isFinished(); }, 10)) return call.reply();
    return QDBusMessage::createError(QDBusError::Timeout, method);
}
