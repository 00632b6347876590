#pragma once

#include <QDBusAbstractInterface>
#include <QDBusMessage>
#include <QVariantList>
#include <QVariantMap>

// One interface of the MPRIS object as another program sees it, on whatever connection the
// test gives (a connection of its own, not the service's). Calls wait with the event loop
// running, since the service answers on the same thread. The two signals MPRIS clients listen
// to are declared here; each fires only on the proxy of its own interface.
class MprisInterface : public QDBusAbstractInterface {
    Q_OBJECT
public:
    MprisInterface(const QString& service, const char* interface, const QDBusConnection& bus);

    // The reply or error of `method`; an error message after 10 s without an answer.
    QDBusMessage callAndWait(const QString& method, const QVariantList& args = {});

signals:
    void PropertiesChanged(const QString& interface, const QVariantMap& changed, const QStringList& invalidated);
    void Seeked(qlonglong position);
};
