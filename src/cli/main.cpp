#include "CommandLine.h"

#include <QCoreApplication>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Sonvale"));
    QCoreApplication::setApplicationName(QStringLiteral("Sonvale"));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return sonvale::CommandLine::run(arguments);
}
