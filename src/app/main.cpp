#include "AppActions.h"
#include "AppDelegate.h"
#include "Appearance.h"
#include "Icons.h"
#include "Preferences.h"
#include "RunningCopy.h"

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

#include <cstdio>
#include <cstdlib>

namespace {

// Paths as given, relative to the working directory; file URLs as some launchers pass them.
QStringList absolutePaths(const QStringList& arguments) {
    QStringList paths;
    for (const QString& argument : arguments) {
        const QUrl url(argument);
        const QString path = url.isLocalFile() ? url.toLocalFile() : argument;
        paths.append(QFileInfo(path).absoluteFilePath());
    }
    return paths;
}

// Asks whether to run beside the copy that runs; true for Continue.
bool continueBesideRunningCopy() {
    QMessageBox alert(QMessageBox::Warning, QStringLiteral("Sonvale"), QObject::tr("Already running"));
    alert.setInformativeText(QObject::tr("Running multiple instances may cause playback errors"));
    QPushButton* quit = alert.addButton(QObject::tr("Quit"), QMessageBox::AcceptRole);
    alert.addButton(QObject::tr("Continue"), QMessageBox::RejectRole);
    alert.setDefaultButton(quit);
    alert.exec();
    return alert.clickedButton() != quit;
}

// Serves the Application interface of the one running copy with the shell's commands.
void serve(sonvale::RunningCopy& copy, sonvale::AppDelegate& delegate) {
    copy.serve({
        .activate = [&delegate] { delegate.activateWindow(); },
        .open = [&delegate](const QStringList& paths) { delegate.openFiles(paths); },
        .action = [&delegate](const QString& name) {
            sonvale::AppActions& actions = delegate.actions();
            QAction* action = name == QLatin1String("play-pause") ? actions.playPause
                              : name == QLatin1String("next")     ? actions.next
                              : name == QLatin1String("previous") ? actions.previous
                              : name == QLatin1String("quit")     ? actions.quit
                                                                  : nullptr;
            if (action) action->trigger();
            return action != nullptr;
        },
    });
}

// Reads the command line before the window system is reached, so that --help and --version
// work on a console without a display. Exits for those and for a wrong option.
QStringList parseArguments(int argc, char* argv[]) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i) arguments.append(QString::fromLocal8Bit(argv[i]));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Sonvale, a small and fast music player."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("paths"), QStringLiteral("Files, folders and M3U playlists to open."),
                                 QStringLiteral("[FILE|FOLDER|M3U...]"));
    if (!parser.parse(arguments)) {
        std::fprintf(stderr, "sonvale: %s\nTry 'sonvale --help'.\n", qUtf8Printable(parser.errorText()));
        std::exit(2);
    }
    if (parser.isSet(help) || parser.isSet(QStringLiteral("help-all"))) {
        std::fputs(qUtf8Printable(parser.helpText().replace(QStringLiteral("<executable_name>"), QStringLiteral("sonvale"))),
                   stdout);
        std::exit(0);
    }
    if (parser.isSet(version)) {
        std::puts("sonvale " SONVALE_VERSION);
        std::exit(0);
    }
    return absolutePaths(parser.positionalArguments());
}

}  // namespace

int main(int argc, char* argv[]) {
    const QStringList paths = parseArguments(argc, argv);
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Sonvale"));
    QApplication::setApplicationName(QStringLiteral("Sonvale"));
    QApplication::setApplicationVersion(QStringLiteral(SONVALE_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.sonvale.Sonvale"));
    QApplication::setWindowIcon(QIcon::fromTheme(
        QStringLiteral("org.sonvale.Sonvale"),
        QIcon(sonvale::Icons::defaultCover(128, QColor(0xe7, 0x6f, 0x51), Qt::white))));

    // The running-copy check comes before anything heavy: a hand-over must be quick.
    sonvale::RunningCopy copy;
    bool secondCopy = false;
    if (!copy.busAvailable()) {
        std::fputs("sonvale: no session bus, so no media controls and no check for a running copy\n", stderr);
    } else if (!copy.claim()) {
        if (!paths.isEmpty() && copy.handOver(paths)) return 0;
        sonvale::AppearanceStyle::apply(sonvale::Preferences().appearance);
        if (paths.isEmpty() && !continueBesideRunningCopy()) {
            copy.activateOther();
            return 0;
        }
        secondCopy = true;
    }

    sonvale::AppDelegate delegate;
    if (!delegate.isUsable()) {
        std::fputs("sonvale: the library database cannot be opened\n", stderr);
        QMessageBox::critical(nullptr, QStringLiteral("Sonvale"),
                              QObject::tr("The library database cannot be opened. See the log for the reason."));
        return 1;
    }
    delegate.launch();
    if (copy.busAvailable()) delegate.publishMediaControls(secondCopy);
    if (copy.claimed()) serve(copy, delegate);
    if (!paths.isEmpty()) delegate.openFiles(paths);
    return QApplication::exec();
}
