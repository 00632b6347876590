#pragma once

#include <QStringList>

#include <functional>

class QWidget;

namespace sonvale {

// The window-modal file dialogs of the windows. Each returns at once and calls `done` on the
// main thread when the user accepts; nothing is called when the dialog is cancelled.
namespace FileDialogs {

// Files and folders, any mix of them, in one dialog titled "Open one or more files or
// directories.".
void chooseFilesAndFolders(QWidget* parent, std::function<void(QStringList paths)> done);

// One folder, for the library: titled "Add a folder to the library".
void chooseFolder(QWidget* parent, std::function<void(QString path)> done);

// Where to save an M3U playlist: titled "Save playlist", proposing "Playlist.m3u", M3U only,
// with a check box for absolute paths that starts as `absolutePaths`.
void chooseExportPath(QWidget* parent, bool absolutePaths,
                      std::function<void(QString path, bool absolutePaths)> done);

// Shows `path` selected in the desktop's file manager, or opens its folder where no file
// manager answers on the session bus. Returns at once.
void showInFileManager(const QString& path);

}  // namespace FileDialogs

}  // namespace sonvale
