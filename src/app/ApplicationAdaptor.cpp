#include "ApplicationAdaptor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QUrl>

namespace sonvale {

namespace {

void refuse(const QDBusMessage& message, QDBusError::ErrorType type, const QString& text) {
    message.setDelayedReply(true);
    QDBusConnection::sessionBus().send(message.createErrorReply(type, text));
}

}  // namespace

ApplicationAdaptor::ApplicationAdaptor(QObject* object, RunningCopy::Hooks hooks)
    : QDBusAbstractAdaptor(object), hooks_(std::move(hooks)) {}

void ApplicationAdaptor::Activate(const QVariantMap&) {
    if (hooks_.activate) hooks_.activate();
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap&, const QDBusMessage& message) {
    QStringList paths;
    for (const QString& uri : uris) {
        const QUrl url(uri);
        // A bare absolute path is taken too: some launchers send those.
        const QString path = url.isLocalFile() ? url.toLocalFile() : uri.startsWith(QLatin1Char('/')) ? uri : QString();
        if (path.isEmpty()) {
            refuse(message, QDBusError::InvalidArgs, QStringLiteral("Sonvale opens local files only: %1").arg(uri));
            return;
        }
        paths.append(path);
    }
    if (hooks_.activate) hooks_.activate();
    if (!paths.isEmpty() && hooks_.open) hooks_.open(paths);
}

void ApplicationAdaptor::ActivateAction(const QString& name, const QVariantList&, const QVariantMap&,
                                        const QDBusMessage& message) {
    if (!hooks_.action || !hooks_.action(name)) {
        refuse(message, QDBusError::NotSupported, QStringLiteral("No action named \"%1\"").arg(name));
    }
}

}  // namespace sonvale
