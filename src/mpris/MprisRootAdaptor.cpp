#include "MprisRootAdaptor.h"

#include <QMetaObject>

namespace sonvale {

MprisRootAdaptor::MprisRootAdaptor(QObject* parent, std::function<void()> raise, std::function<void()> quit)
    : QDBusAbstractAdaptor(parent), raise_(std::move(raise)), quit_(std::move(quit)) {}

QString MprisRootAdaptor::identity() const { return QStringLiteral("Sonvale"); }

QString MprisRootAdaptor::desktopEntry() const { return QStringLiteral("org.sonvale.Sonvale"); }

QStringList MprisRootAdaptor::supportedUriSchemes() const { return {QStringLiteral("file")}; }

QStringList MprisRootAdaptor::supportedMimeTypes() const {
    return {QStringLiteral("audio/flac"),  QStringLiteral("audio/x-flac"),     QStringLiteral("audio/mpeg"),
            QStringLiteral("audio/mp4"),   QStringLiteral("audio/x-m4a"),      QStringLiteral("audio/wav"),
            QStringLiteral("audio/x-wav"), QStringLiteral("audio/x-aiff"),     QStringLiteral("audio/aiff"),
            QStringLiteral("audio/x-mpegurl"), QStringLiteral("audio/mpegurl")};
}

void MprisRootAdaptor::Raise() { later(raise_); }

void MprisRootAdaptor::Quit() { later(quit_); }

void MprisRootAdaptor::later(const std::function<void()>& hook) {
    // A quitting program may take the connection down with it; the caller is answered first.
    if (hook) QMetaObject::invokeMethod(this, hook, Qt::QueuedConnection);
}

}  // namespace sonvale
