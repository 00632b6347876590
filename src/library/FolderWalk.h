#pragma once

#include "AudioFiles.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace sonvale {

// The walk behind collectAudioFiles: lists folders on several threads at once and hands back
// the files in the order one depth-first walk would give. On a tree the kernel has not cached,
// most of a walk is the kernel reading folders and file nodes; several threads keep several of
// those reads going and spread the kernel's own work over the processors.
//
// One object per walk; run() blocks its caller, which takes part in the walk, and joins every
// thread it started before returning. Folders that cannot be opened or listed, and entries
// whose status cannot be read, are left out.
class FolderWalk {
public:
    explicit FolderWalk(const QStringList& extensions);

    // The files under `path`, a clean absolute path that may be a link to a folder; `threads`
    // is how many threads list folders, the caller's included (at least one).
    QList<FoundFile> run(const QString& path, int threads);

private:
    struct Node;
    // An entry of a folder, in listing order: a file taken, or the position of a sub-folder
    // among the folder's children.
    struct Entry {
        FoundFile file;
        qsizetype child = -1;
    };
    struct Node {
        QByteArray name;  // the path as the system spells it, for opening the folder
        QString path;     // the same, decoded, with a final "/"
        bool root = false;
        QList<Entry> entries;
        std::vector<std::unique_ptr<Node>> children;
    };

    void work();
    void list(Node& node) const;
    bool taken(const char* name) const;
    static void collect(Node& node, QList<FoundFile>& files);

    QList<QByteArray> extensions_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Node*> waiting_;  // folders not listed yet, taken from the back (depth first)
    int listing_ = 0;             // folders being listed now
    qsizetype found_ = 0;         // files taken so far, to size the result once
};

}  // namespace sonvale
