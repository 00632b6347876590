#include "ScanCommand.h"

#include "AudioFiles.h"
#include "DB.h"
#include "Library.h"
#include "ScanProgress.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>

#include <algorithm>

#include <unistd.h>

namespace sonvale {

namespace {

struct ScanRequest {
    bool force = false;
    QStringList roots;  // absolute, clean, each once, in the order given
};

int usageError(const CommandContext& context, const QString& message) {
    CommandContext::print(context.err,
                          QStringLiteral("sonvale-cli scan: %1\nTry 'sonvale-cli --help'.\n").arg(message));
    return 2;
}

// Why `root` cannot be scanned; empty when it can.
QString problemWith(const QString& root) {
    const QFileInfo info(root);
    if (!info.exists()) return QStringLiteral("does not exist");
    if (!info.isDir()) return QStringLiteral("is not a folder");
    if (::access(QFile::encodeName(root).constData(), R_OK | X_OK) != 0) return QStringLiteral("cannot be read");
    return {};
}

FolderRef findFolder(const Library& library, const QString& root) {
    const QList<FolderRef>& folders = library.folders();
    const auto found = std::find_if(folders.cbegin(), folders.cend(), [&](const FolderRef& folder) {
        return CommandContext::absolutePath(folder->root) == root;
    });
    return found == folders.cend() ? nullptr : *found;
}

bool databaseExists(const CommandContext& context) {
    const QString dir = context.dataDir.isEmpty() ? DB::defaultDataDirectory() : context.dataDir;
    return QFileInfo::exists(QDir(dir).filePath(DB::fileName()));
}

// Reports every root that cannot be scanned as asked; true when there is none. `library` is
// null when there is no database yet, and so no library folder.
bool checkRoots(const CommandContext& context, const ScanRequest& request, const Library* library) {
    bool ok = true;
    for (const QString& root : request.roots) {
        const QString problem = problemWith(root);
        if (problem.isEmpty()) continue;
        const bool known = library && findFolder(*library, root);
        if (known && request.force) continue;
        ok = false;
        CommandContext::print(
            context.err,
            known ? QStringLiteral("sonvale-cli scan: the library folder %1 %2; rescanning it would remove all its "
                                   "tracks from the library, so it is left as it is (use --force to rescan it)\n")
                        .arg(root, problem)
                  : QStringLiteral("sonvale-cli scan: %1 %2\n").arg(root, problem));
    }
    return ok;
}

// Queues a scan of every root (a new folder is added, which scans it) and runs the event loop
// until all have finished. Scans run one after another, in the order given.
void scanAll(const CommandContext& context, const ScanRequest& request, const std::shared_ptr<DB>& db,
             Library& library) {
    QEventLoop loop;
    ScanProgress progress(
        context.out, context.err, ::isatty(::fileno(context.err)) == 1,
        [&](const Folder& folder) { return folder.pk ? db->trackCount(*folder.pk) : 0; }, [&] { loop.quit(); });
    library.addListener(&progress);
    for (const QString& root : request.roots) {
        if (const FolderRef known = findFolder(library, root)) {
            progress.expect(known);
            library.scanFolder(known, supportedExtensions());
        } else {
            auto folder = std::make_shared<Folder>();
            folder->root = root;
            progress.expect(folder);
            library.addFolders({folder}, library.folders().size());
        }
    }
    if (!progress.finished()) loop.exec();
}

}  // namespace

int ScanCommand::run(const CommandContext& context) {
    ScanRequest request;
    for (const QString& arg : context.args) {
        if (arg == QLatin1String("--force")) {
            request.force = true;
        } else if (arg.startsWith(QLatin1Char('-'))) {
            return usageError(context, QStringLiteral("unknown option '%1'").arg(arg));
        } else if (const QString root = CommandContext::absolutePath(arg); !request.roots.contains(root)) {
            request.roots.append(root);
        }
    }
    if (request.roots.isEmpty()) return usageError(context, QStringLiteral("no FOLDER given"));
    // Without a database there is no library folder to rescan: a root that cannot be scanned
    // is an error, found before anything is made.
    const bool allReadable = std::all_of(request.roots.cbegin(), request.roots.cend(),
                                         [](const QString& root) { return problemWith(root).isEmpty(); });
    if (!allReadable && !databaseExists(context)) {
        checkRoots(context, request, nullptr);
        return 1;
    }

    const std::shared_ptr<DB> db = context.openDatabase("scan");
    if (!db) return 1;
    Queues queues;
    Library library(db, queues);
    library.loadFolders();
    if (!checkRoots(context, request, &library)) return 1;
    scanAll(context, request, db, library);
    return 0;
}

}  // namespace sonvale
