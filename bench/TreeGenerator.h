#pragma once

#include <QString>
#include <QStringList>

// Builds a benchmark library: Artist/Album/NN Title.ext folders of real audio files. A few
// template files per format are encoded once with ffmpeg (tags, some with cover art or
// lyrics); the tree is made of copies of them, so that a large tree takes seconds to build.
// An existing tree with the same parameters is reused. Deterministic: the same parameters give
// the same names and contents.
class TreeGenerator {
public:
    struct Options {
        double seconds = 1;         // length of the template files
        bool folderImages = false;  // cover.jpg or folder.jpg in some album folders
    };

    TreeGenerator(QString root, QStringList formats, int count);
    TreeGenerator(QString root, QStringList formats, int count, Options options);

    // Makes the tree when needed. False, with a message on stderr, when ffmpeg fails.
    bool ensure();
    // Every audio file of the tree, sorted.
    QStringList files() const;

private:
    bool makeTemplates(const QString& dir);
    // One album folder, with a folder image in two of every three when asked for.
    bool makeAlbumFolder(const QString& dir, const QString& templates, int album) const;
    QString stampText() const;

    QString root_;
    QStringList formats_;
    int count_;
    Options options_;
};
