#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

namespace sonvale {

// The desktop program's presence on the session bus as "org.sonvale.Sonvale", with the
// freedesktop Application interface at /org/sonvale/Sonvale, so that a second start hands its
// files to the copy that runs (and file managers and launchers can talk to it). Main thread only.
class RunningCopy : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kService = "org.sonvale.Sonvale";
    static constexpr const char* kPath = "/org/sonvale/Sonvale";

    struct Hooks {
        std::function<void()> activate;                      // show and raise the window
        std::function<void(const QStringList& paths)> open;  // local paths handed over
        // A named action ("play-pause", "next", "previous", "stop", "quit"); false when unknown.
        std::function<bool(const QString& name)> action;
    };

    explicit RunningCopy(QObject* parent = nullptr);
    ~RunningCopy() override;

    // Whether a session bus answers.
    bool busAvailable() const;
    // Takes the name; false when another copy holds it (or there is no bus).
    bool claim();
    // Whether this process holds the name.
    bool claimed() const { return claimed_; }
    // Sends `paths` to the copy that holds the name (Open with file URIs); false when it did not
    // answer within a few seconds.
    bool handOver(const QStringList& paths) const;
    // Asks the copy that holds the name to show its window.
    bool activateOther() const;
    // Answers the Application interface with `hooks`; only after claim() succeeded.
    void serve(Hooks hooks);

private:
    bool claimed_ = false;
};

}  // namespace sonvale
