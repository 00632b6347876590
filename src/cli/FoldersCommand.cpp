#include "FoldersCommand.h"

#include "DB.h"

namespace sonvale {

int FoldersCommand::run(const CommandContext& context) {
    if (!context.args.isEmpty()) {
        std::fputs("sonvale-cli folders: takes no arguments\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    const std::shared_ptr<DB> db = context.openDatabase("folders");
    if (!db) return 1;
    for (const Folder& folder : db->loadFolders()) {
        const QString scanned = folder.lastCompletedScan
                                    ? folder.lastCompletedScan->toUTC().toString(Qt::ISODate)
                                    : QStringLiteral("never");
        CommandContext::print(context.out,
                              QStringLiteral("%1\t%2\t%3\n").arg(folder.pk.value_or(0)).arg(folder.root, scanned));
    }
    return 0;
}

}  // namespace sonvale
