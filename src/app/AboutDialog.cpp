#include "AboutDialog.h"

#include "AudioDecoder.h"
#include "PulseOutput.h"
#include "SQLiteDatabase.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace sonvale {

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("About Sonvale"));
    auto* icon = new QLabel(this);
    icon->setPixmap(QApplication::windowIcon().pixmap(96, 96));
    icon->setAlignment(Qt::AlignCenter);
    auto* name = new QLabel(QStringLiteral("Sonvale"), this);
    QFont font = name->font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    font.setBold(true);
    name->setFont(font);
    name->setAlignment(Qt::AlignCenter);
    const QString version = QApplication::applicationVersion();
    auto* details = new QLabel(this);
    details->setAlignment(Qt::AlignCenter);
    details->setTextInteractionFlags(Qt::TextSelectableByMouse);
    details->setText(tr("Version %1").arg(version.isEmpty() ? tr("unknown") : version) + QStringLiteral("\n")
                     + tr("A small and fast music player.") + QStringLiteral("\n") + tr("Licence: MIT"));
    auto* libraries = new QLabel(libraryVersions().join(QLatin1Char('\n')), this);
    libraries->setAlignment(Qt::AlignCenter);
    libraries->setForegroundRole(QPalette::PlaceholderText);
    libraries->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(icon);
    layout->addWidget(name);
    layout->addWidget(details);
    layout->addSpacing(8);
    layout->addWidget(libraries);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

QStringList AboutDialog::libraryVersions() {
    return {
        tr("Qt %1").arg(QString::fromLatin1(qVersion())),
        tr("FFmpeg %1").arg(AudioDecoder::libraryVersion()),
        tr("SQLite %1").arg(SQLiteDatabase::libraryVersion()),
        tr("PulseAudio client library %1").arg(PulseOutput::libraryVersion()),
    };
}

}  // namespace sonvale
