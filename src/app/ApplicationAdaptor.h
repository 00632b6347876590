#pragma once

#include "RunningCopy.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QVariantMap>

namespace sonvale {

// org.freedesktop.Application on the running copy's object: Activate shows the window, Open
// takes file URIs (anything else is refused with an error and nothing opens), ActivateAction
// runs one of the named actions. Owned by the object it is exported on; main thread.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ApplicationAdaptor(QObject* object, RunningCopy::Hooks hooks);

public slots:
    void Activate(const QVariantMap& platformData);
    // The trailing message lets a refusal be answered with an error.
    void Open(const QStringList& uris, const QVariantMap& platformData, const QDBusMessage& message);
    void ActivateAction(const QString& name, const QVariantList& parameters, const QVariantMap& platformData,
                        const QDBusMessage& message);

private:
    RunningCopy::Hooks hooks_;
};

}  // namespace sonvale
