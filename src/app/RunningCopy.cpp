#include "RunningCopy.h"

#include "ApplicationAdaptor.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QUrl>

namespace sonvale {

namespace {

constexpr int kCallTimeoutMs = 5000;

QDBusMessage applicationCall(const QString& method) {
    return QDBusMessage::createMethodCall(QLatin1String(RunningCopy::kService), QLatin1String(RunningCopy::kPath),
                                          QStringLiteral("org.freedesktop.Application"), method);
}

}  // namespace

RunningCopy::RunningCopy(QObject* parent) : QObject(parent) {}

RunningCopy::~RunningCopy() {
    if (!claimed_) return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(QLatin1String(kPath));
    bus.unregisterService(QLatin1String(kService));
}

bool RunningCopy::busAvailable() const { return QDBusConnection::sessionBus().isConnected(); }

bool RunningCopy::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return false;
    // Without queueing: a second copy must learn at once that the name is taken.
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = bus.interface()->registerService(
        QLatin1String(kService), QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
    claimed_ = reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered;
    return claimed_;
}

bool RunningCopy::handOver(const QStringList& paths) const {
    QStringList uris;
    for (const QString& path : paths) uris.append(QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded));
    QDBusMessage call = applicationCall(QStringLiteral("Open"));
    call << uris << QVariantMap();
    return QDBusConnection::sessionBus().call(call, QDBus::Block, kCallTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

bool RunningCopy::activateOther() const {
    QDBusMessage call = applicationCall(QStringLiteral("Activate"));
    call << QVariantMap();
    return QDBusConnection::sessionBus().call(call, QDBus::Block, kCallTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

void RunningCopy::serve(Hooks hooks) {
    if (!claimed_) return;
    new ApplicationAdaptor(this, std::move(hooks));
    QDBusConnection::sessionBus().registerObject(QLatin1String(kPath), this);
}

}  // namespace sonvale
