#include "SearchCommand.h"

#include "DB.h"

#include <memory>

namespace sonvale {

int SearchCommand::run(const CommandContext& context) {
    if (context.args.isEmpty()) {
        std::fputs("sonvale-cli search: no WORDS given\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    const auto db = context.dataDir.isEmpty() ? std::make_unique<DB>() : std::make_unique<DB>(context.dataDir);
    if (!db->queue()) {
        std::fprintf(context.err, "sonvale-cli search: cannot open the database %s\n",
                     db->path().toLocal8Bit().constData());
        return 1;
    }
    for (const QString& path : db->search(context.args.join(QLatin1Char(' ')))) {
        const QByteArray line = path.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, line.size(), context.out);
    }
    return 0;
}

}  // namespace sonvale
