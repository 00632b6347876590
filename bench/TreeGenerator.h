#pragma once

#include <QString>
#include <QStringList>

// Builds a benchmark library: Artist/Album/NN Title.ext folders of real audio files. A few
// template files per format are encoded once with ffmpeg (tags, some with cover art or
// lyrics); the tree is made of copies of them, so that a large tree takes seconds to build.
// An existing tree with the same parameters is reused.
class TreeGenerator {
public:
    TreeGenerator(QString root, QStringList formats, int count);

    // Makes the tree when needed. False, with a message on stderr, when ffmpeg fails.
    bool ensure();
    // Every audio file of the tree, sorted.
    QStringList files() const;

private:
    bool makeTemplates(const QString& dir);
    QString stampText() const;

    QString root_;
    QStringList formats_;
    int count_;
};
