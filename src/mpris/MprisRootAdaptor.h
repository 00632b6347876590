#pragma once

#include <QDBusAbstractAdaptor>
#include <QStringList>

#include <functional>

namespace sonvale {

// org.mpris.MediaPlayer2: who the player is and what it opens. Every property is constant.
// Threads: main thread, made by MprisService as a child of the object it registers.
class MprisRootAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ isTrue CONSTANT)
    Q_PROPERTY(bool CanRaise READ isTrue CONSTANT)
    Q_PROPERTY(bool Fullscreen READ isFalse CONSTANT)
    Q_PROPERTY(bool CanSetFullscreen READ isFalse CONSTANT)
    Q_PROPERTY(bool HasTrackList READ isFalse CONSTANT)
    Q_PROPERTY(QString Identity READ identity CONSTANT)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry CONSTANT)
    Q_PROPERTY(QStringList SupportedUriSchemes READ supportedUriSchemes CONSTANT)
    Q_PROPERTY(QStringList SupportedMimeTypes READ supportedMimeTypes CONSTANT)

public:
    // `raise` and `quit` run for Raise and Quit once the call has been answered; either may
    // be empty, and then that call does nothing.
    MprisRootAdaptor(QObject* parent, std::function<void()> raise, std::function<void()> quit);

    bool isTrue() const { return true; }
    bool isFalse() const { return false; }
    QString identity() const;
    QString desktopEntry() const;
    QStringList supportedUriSchemes() const;
    QStringList supportedMimeTypes() const;

public slots:
    void Raise();
    void Quit();

private:
    // Runs `hook` from the event loop, after the reply has gone out.
    void later(const std::function<void()>& hook);

    std::function<void()> raise_;
    std::function<void()> quit_;
};

}  // namespace sonvale
