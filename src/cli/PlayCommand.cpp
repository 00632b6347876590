#include "PlayCommand.h"

#include "DB.h"
#include "MprisService.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"

#include <QEventLoop>
#include <QSocketNotifier>

#include <cerrno>

#include <termios.h>
#include <unistd.h>

#include <optional>

namespace sonvale {

namespace {

std::optional<PlaybackMode> modeNamed(const QString& name) {
    static const QStringList names = {QStringLiteral("normal"), QStringLiteral("repeat-all"), QStringLiteral("repeat-one"),
                                      QStringLiteral("shuffle"), QStringLiteral("single")};
    const qsizetype index = names.indexOf(name);
    if (index < 0) return std::nullopt;
    return playbackModeFromRaw(index);
}

// Puts the terminal on stdin into single-key mode without echo while it lives.
class RawTerminal {
public:
    RawTerminal() {
        if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &saved_) != 0) return;
        termios raw = saved_;
        raw.c_lflag &= ~tcflag_t(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        active_ = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
    }
    ~RawTerminal() {
        if (active_) tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
    }
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;

    bool active() const { return active_; }

private:
    termios saved_{};
    bool active_ = false;
};

// Carries out the keys read from the terminal; arrow keys arrive as ESC [ C and ESC [ D.
// False once the terminal is gone (end of input), when nothing more will come.
bool handleKeys(Player& player, QByteArray& pending) {
    char buffer[64];
    const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) return false;
    if (count < 0) return true;
    pending.append(buffer, count);
    while (!pending.isEmpty()) {
        if (pending.startsWith("\x1b")) {
            if (pending.size() < 3) return true;
            if (pending.startsWith("\x1b[C")) player.seek(true, 15);
            if (pending.startsWith("\x1b[D")) player.seek(true, -15);
            pending.remove(0, 3);
            continue;
        }
        switch (pending.front()) {
        case ' ': player.togglePlayPause(); break;
        case 'n': player.playNext(); break;
        case 'p': player.playPrevious(); break;
        case 'q': player.stop(); break;
        default: break;
        }
        pending.remove(0, 1);
    }
    return true;
}

}  // namespace

int PlayCommand::run(const CommandContext& context) {
    QStringList paths;
    PlaybackMode mode = PlaybackMode::Normal;
    for (qsizetype i = 0; i < context.args.size(); ++i) {
        if (context.args[i] != QLatin1String("--mode")) {
            paths.append(context.args[i]);
            continue;
        }
        const std::optional<PlaybackMode> named = ++i < context.args.size() ? modeNamed(context.args[i]) : std::nullopt;
        if (!named) {
            std::fputs("sonvale-cli play: --mode needs normal, repeat-all, repeat-one, shuffle or single\n"
                       "Try 'sonvale-cli --help'.\n", context.err);
            return 2;
        }
        mode = *named;
    }
    if (paths.isEmpty()) {
        std::fputs("sonvale-cli play: no PATH given\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    const std::shared_ptr<DB> db = context.openDatabase("play");
    if (!db) return 1;

    Queues queues;
    Preferences preferences;
    preferences.playbackMode = mode;  // for this run only: never saved
    Player player(db, preferences, queues);
    const QList<PlaylistItemRef> items = player.open(paths, false);
    if (items.isEmpty()) {
        std::fputs("sonvale-cli play: nothing to play\n", context.err);
        return 1;
    }

    int printed = 0;
    // A track's duration may still be on its way from the background refresh.
    PlaylistItemRef unprinted;
    const auto print = [&] {
        if (!unprinted) return;
        const qsizetype position = player.playlist().indexOf(*unprinted).value_or(-1) + 1;
        CommandContext::print(context.out, QStringLiteral("%1\t%2\t%3\n").arg(position).arg(unprinted->track()->path)
                                               .arg(unprinted->track()->duration, 0, 'f', 1));
        std::fflush(context.out);
        unprinted.reset();
        ++printed;
    };
    QEventLoop loop;
    QObject::connect(&player, &Player::trackSetup, [&](const PlaylistItemRef& item) {
        print();
        unprinted = item;
        if (item->track()->duration > 0) print();
    });
    QObject::connect(&player, &Player::metaLoaded, [&](const PlaylistItemRef& item) {
        if (item == unprinted) print();
    });
    QObject::connect(&player, &Player::playbackStopped, &loop, [&] {
        print();
        loop.quit();
    });

    // Media keys and playerctl drive this run too; Quit ends it as q does, Raise has no window.
    MprisService mpris(player, {.quit = [&player] { player.stop(); }}, MprisService::availableBusName());

    RawTerminal terminal;
    QByteArray keys;
    std::optional<QSocketNotifier> notifier;
    if (terminal.active()) {
        notifier.emplace(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(&*notifier, &QSocketNotifier::activated, [&] {
            if (!handleKeys(player, keys)) notifier->setEnabled(false);
        });
    }
    player.playItem(items.front(), true);
    loop.exec();
    return printed > 0 ? 0 : 1;
}

}  // namespace sonvale
