#include "FileDialogs.h"

#include <QAbstractItemView>
#include <QCheckBox>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QGridLayout>
#include <QSortFilterProxyModel>
#include <QStandardPaths>
#include <QUrl>

namespace sonvale::FileDialogs {

namespace {

// A file dialog in which folders can be chosen together with files: the standard one opens a
// selected folder instead of returning it, so the choice is read from its views.
class FilesAndFoldersDialog : public QFileDialog {
public:
    explicit FilesAndFoldersDialog(QWidget* parent) : QFileDialog(parent) {
        setOption(QFileDialog::DontUseNativeDialog);
        setFileMode(QFileDialog::ExistingFiles);
        for (auto* view : findChildren<QAbstractItemView*>()) {
            view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        }
    }

    QStringList chosen;

    void accept() override {
        chosen = selectedInViews();
        if (chosen.isEmpty()) {
            QFileDialog::accept();
            return;
        }
        QDialog::accept();
    }

private:
    QStringList selectedInViews() const {
        auto* model = findChild<QFileSystemModel*>();
        if (!model) return {};
        QStringList paths;
        for (const auto* view : findChildren<QAbstractItemView*>()) {
            if (!view->isVisible() || !view->selectionModel()) continue;
            for (QModelIndex index : view->selectionModel()->selectedRows()) {
                if (const auto* proxy = qobject_cast<const QSortFilterProxyModel*>(index.model())) {
                    index = proxy->mapToSource(index);
                }
                if (index.model() == model) paths.append(model->filePath(index));
            }
        }
        paths.removeDuplicates();
        return paths;
    }
};

// Where a dialog starts: where the last one ended in this run, else the user's music folder,
// else the home folder (never the folder the program happened to be started in).
QString& lastDirectory() {
    static QString directory;
    return directory;
}

QString startDirectory() {
    if (!lastDirectory().isEmpty() && QFileInfo(lastDirectory()).isDir()) return lastDirectory();
    const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    return QFileInfo(music).isDir() ? music : QDir::homePath();
}

}  // namespace

void chooseFilesAndFolders(QWidget* parent, std::function<void(QStringList)> done) {
    auto* dialog = new FilesAndFoldersDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QFileDialog::tr("Open one or more files or directories."));
    dialog->setDirectory(startDirectory());
    dialog->setWindowModality(Qt::WindowModal);
    QObject::connect(dialog, &QDialog::accepted, dialog, [dialog, done = std::move(done)] {
        const QStringList paths = dialog->chosen.isEmpty() ? dialog->selectedFiles() : dialog->chosen;
        lastDirectory() = dialog->directory().absolutePath();
        if (!paths.isEmpty()) done(paths);
    });
    dialog->open();
}

void chooseFolder(QWidget* parent, std::function<void(QString)> done) {
    auto* dialog = new QFileDialog(parent, QFileDialog::tr("Add a folder to the library"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setDirectory(startDirectory());
    dialog->setWindowModality(Qt::WindowModal);
    QObject::connect(dialog, &QDialog::accepted, dialog, [dialog, done = std::move(done)] {
        const QStringList folders = dialog->selectedFiles();
        lastDirectory() = dialog->directory().absolutePath();
        if (!folders.isEmpty()) done(folders.front());
    });
    dialog->open();
}

void chooseExportPath(QWidget* parent, bool absolutePaths, std::function<void(QString, bool)> done) {
    auto* dialog = new QFileDialog(parent, QFileDialog::tr("Save playlist"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setNameFilter(QFileDialog::tr("M3U playlist (*.m3u)"));
    dialog->setDefaultSuffix(QStringLiteral("m3u"));
    dialog->setDirectory(startDirectory());
    dialog->selectFile(QStringLiteral("Playlist.m3u"));
    dialog->setWindowModality(Qt::WindowModal);
    auto* absolute = new QCheckBox(QFileDialog::tr("Use absolute paths"), dialog);
    absolute->setChecked(absolutePaths);
    absolute->setToolTip(QFileDialog::tr("Write full paths instead of paths relative to the playlist's folder"));
    if (auto* grid = qobject_cast<QGridLayout*>(dialog->layout())) grid->addWidget(absolute, grid->rowCount(), 0, 1, -1);
    QObject::connect(dialog, &QDialog::accepted, dialog, [dialog, absolute, done = std::move(done)] {
        const QStringList files = dialog->selectedFiles();
        lastDirectory() = dialog->directory().absolutePath();
        if (!files.isEmpty()) done(files.front(), absolute->isChecked());
    });
    dialog->open();
}

void showInFileManager(const QString& path) {
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 3000));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, folder] {
        if (watcher->isError()) QDesktopServices::openUrl(folder);
        watcher->deleteLater();
    });
}

}  // namespace sonvale::FileDialogs
