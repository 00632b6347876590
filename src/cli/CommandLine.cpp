#include "CommandLine.h"

#include "DB.h"
#include "FoldersCommand.h"
#include "Preferences.h"
#include "PlayCommand.h"
#include "RemoveCommand.h"
#include "ScanCommand.h"
#include "SearchCommand.h"
#include "TagsCommand.h"

#include <QDir>
#include <QFileInfo>

#include <array>

namespace sonvale {

namespace {

struct Command {
    const char* name;
    const char* usage;
    const char* summary;
    int (*run)(const CommandContext&);
};

constexpr std::array kCommands = {
    Command{"tags", "tags FILE...",
            "Reads each FILE as the library does for a new file and prints one JSON object per line\n"
            "      with the keys path, fileType, offset, title, artist, album, track, duration, bitRate,\n"
            "      sampleRate, channels, size, timestamp, metaVersion, lyrics, chapters, genre,\n"
            "      hasArtwork and artworkBytes. Exits with 1 when a FILE does not exist.",
            &TagsCommand::run},
    Command{"search", "search WORDS... | search -",
            "Prints the path of every library track whose tokens begin with each of the WORDS (joined\n"
            "      by spaces into one query), one per line, sorted, at most 5000. With -, reads one query\n"
            "      per line from standard input and answers each with its paths and an empty line, at\n"
            "      once, until the input ends. Exits with 1 when the database cannot be opened.",
            &SearchCommand::run},
    Command{"scan", "scan [--force] FOLDER...",
            "Adds each FOLDER to the library and scans it, or rescans it when it is a library folder\n"
            "      already, then prints one line per folder: path, files, seconds taken and files per\n"
            "      second. Progress goes to stderr. Exits with 1, changing nothing, when a FOLDER does not\n"
            "      exist or cannot be read. A library folder whose directory is missing or unreadable is\n"
            "      rescanned only with --force, which removes all its tracks from the library.",
            &ScanCommand::run},
    Command{"folders", "folders",
            "Prints each library folder on its own line: id, path and the end of its last completed\n"
            "      scan (ISO 8601, UTC) or \"never\", separated by tabs.",
            &FoldersCommand::run},
    Command{"remove", "remove FOLDER",
            "Removes the library folder FOLDER; its tracks leave the search. Exits with 1 when FOLDER\n"
            "      is not a library folder.",
            &RemoveCommand::run},
    Command{"play", "play [--mode normal|repeat-all|repeat-one|shuffle|single] PATH...",
            "Opens the files, folders and M3U playlists as the player does and plays them in the\n"
            "      mode (normal when none is given; the saved mode stays), printing position, path and\n"
            "      seconds, tab-separated, whenever a track starts. On a terminal: space pauses or\n"
            "      resumes, n and p go to the next and previous track, the left and right arrows seek\n"
            "      15 seconds, q quits. Media keys and MPRIS clients (playerctl) control it too. Exits\n"
            "      when playback stops; with 1 when nothing could be played.",
            &PlayCommand::run},
};

int usageError(FILE* err, const QString& message) {
    CommandContext::print(err, QStringLiteral("sonvale-cli: %1\nTry 'sonvale-cli --help'.\n").arg(message));
    return 2;
}

}  // namespace

std::shared_ptr<DB> CommandContext::openDatabase(const char* command) const {
    auto db = dataDir.isEmpty() ? std::make_shared<DB>() : std::make_shared<DB>(dataDir);
    if (!db->isOpen()) {
        print(err,
              QStringLiteral("sonvale-cli %1: cannot open the database %2\n").arg(QLatin1String(command), db->path()));
        return nullptr;
    }
    database = db;
    if (const std::optional<DatabaseRecovery>& recovery = db->recovery()) {
        Preferences preferences;
        preferences.currentPlaylistItem = recovery->positionOf(preferences.currentPlaylistItem);
        preferences.save();
        QStringList roots;
        for (const Folder& folder : recovery->folders) {
            roots.append(QLatin1Char('\'') + folder.root + QLatin1Char('\''));
        }
        const auto count = [](qsizetype n, const char* one, const char* many) {
            return QStringLiteral("%1 %2").arg(n).arg(QLatin1String(n == 1 ? one : many));
        };
        print(err, QStringLiteral("sonvale-cli %1: the library database was damaged (%2). It is kept as %3, and a new "
                                  "one holds what could be read of it: %4 and %5 (%6 could not be read).\n")
                       .arg(QLatin1String(command), recovery->problem, recovery->damagedCopy,
                            count(recovery->folders.size(), "library folder", "library folders"),
                            count(recovery->playlistOrigins.size(), "playlist entry", "playlist entries"))
                       .arg(recovery->playlistLost));
        if (!roots.isEmpty()) {
            print(err, QStringLiteral("sonvale-cli %1: the tracks of the library folders come back when they are "
                                      "scanned again: sonvale-cli scan %2\n")
                           .arg(QLatin1String(command), roots.join(QLatin1Char(' '))));
        }
    }
    return db;
}

int CommandContext::finish(const QString& command, int status) const {
    if (!database) return status;
    const bool recovered = database->recovery().has_value();
    const bool damaged = database->isDamaged();
    if (damaged) {
        print(err, QStringLiteral("sonvale-cli %1: the library database %2 is damaged, so what was read of it may be "
                                  "incomplete; the next command sets it aside and makes a new one from what can be "
                                  "read of it\n")
                       .arg(command, database->path()));
    }
    return status == 0 && (recovered || damaged) ? 3 : status;
}

void CommandContext::print(FILE* stream, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, bytes.size(), stream);
}

QString CommandContext::absolutePath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString CommandLine::helpText() {
    QString text = QStringLiteral(
        "Usage: sonvale-cli [--data-dir DIR] COMMAND [ARGUMENTS...]\n"
        "\n"
        "Sonvale's command-line face: the same library, tag readers and player as the windows.\n"
        "\n"
        "Options for every command:\n"
        "  --data-dir DIR  keep the database in DIR instead of $XDG_DATA_HOME/Sonvale\n"
        "  -h, --help      show this help\n"
        "\n"
        "A library database found damaged is kept beside the new one under a dated name; what can\n"
        "still be read of it (library folders, playlist) goes into the new one, and the command\n"
        "then exits with 3.\n"
        "\n"
        "Commands:\n");
    for (const Command& command : kCommands) {
        text += QStringLiteral("  %1\n      %2\n").arg(QLatin1String(command.usage), QLatin1String(command.summary));
    }
    return text;
}

int CommandLine::run(const QStringList& arguments, FILE* out, FILE* err) {
    CommandContext context{{}, {}, out, err, nullptr};
    QString commandName;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& arg = arguments[i];
        if (!commandName.isEmpty()) {
            context.args.append(arg);
        } else if (arg == QLatin1String("-h") || arg == QLatin1String("--help")) {
            CommandContext::print(out, helpText());
            return 0;
        } else if (arg == QLatin1String("--data-dir")) {
            if (++i >= arguments.size()) return usageError(err, QStringLiteral("--data-dir needs a directory"));
            context.dataDir = arguments[i];
        } else if (arg.startsWith(QLatin1String("--data-dir="))) {
            context.dataDir = arg.mid(int(sizeof "--data-dir=") - 1);
        } else if (arg.startsWith(QLatin1Char('-'))) {
            return usageError(err, QStringLiteral("unknown option '%1'").arg(arg));
        } else {
            commandName = arg;
        }
    }
    if (commandName.isEmpty()) return usageError(err, QStringLiteral("no command given"));
    for (const Command& command : kCommands) {
        if (commandName == QLatin1String(command.name)) return context.finish(commandName, command.run(context));
    }
    return usageError(err, QStringLiteral("unknown command '%1'").arg(commandName));
}

}  // namespace sonvale
