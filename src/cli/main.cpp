#include "CommandLine.h"

#include <QCoreApplication>
#include <QLoggingCategory>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Sonvale"));
    QCoreApplication::setApplicationName(QStringLiteral("Sonvale"));
    // Progress lines (schema version, migration steps) belong in the application's log, not
    // beside a command's output; warnings still show. QT_LOGGING_RULES overrides this.
    QLoggingCategory::setFilterRules(QStringLiteral("sonvale.*.info=false"));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return sonvale::CommandLine::run(arguments);
}
