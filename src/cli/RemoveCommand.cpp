#include "RemoveCommand.h"

#include "DB.h"
#include "Library.h"

#include <algorithm>

namespace sonvale {

int RemoveCommand::run(const CommandContext& context) {
    if (context.args.size() != 1) {
        std::fputs("sonvale-cli remove: give exactly one FOLDER\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    const std::shared_ptr<DB> db = context.openDatabase("remove");
    if (!db) return 1;
    const QString root = CommandContext::absolutePath(context.args.first());
    Queues queues;
    Library library(db, queues);
    library.loadFolders();
    const QList<FolderRef>& folders = library.folders();
    const auto found = std::find_if(folders.cbegin(), folders.cend(), [&](const FolderRef& folder) {
        return CommandContext::absolutePath(folder->root) == root;
    });
    if (found == folders.cend()) {
        CommandContext::print(context.err, QStringLiteral("sonvale-cli remove: %1 is not a library folder\n").arg(root));
        return 1;
    }
    // A copy: the library drops its own reference while it removes the folder.
    const FolderRef folder = *found;
    library.removeFolder(folder);
    return 0;
}

}  // namespace sonvale
