#include "FolderWalk.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <system_error>
#include <thread>

namespace sonvale {

namespace {

// `prefix` + `name` in a string of exactly that size: a path is kept for the whole scan, and
// appending leaves room to grow in (about half as much again, a hundred thousand times).
QString joined(const QString& prefix, const QString& name) {
    QString path;
    path.reserve(prefix.size() + name.size());
    path.append(prefix);
    path.append(name);
    return path;
}

}  // namespace

FolderWalk::FolderWalk(const QStringList& extensions) {
    for (const QString& extension : extensions) extensions_.append(extension.toUtf8());
}

QList<FoundFile> FolderWalk::run(const QString& path, int threads) {
    Node root;
    root.name = QFile::encodeName(path);
    root.path = path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
    root.root = true;
    waiting_.push_back(&root);
    std::vector<std::jthread> helpers;
    try {
        for (int i = 1; i < threads; ++i) helpers.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        // The system refused a thread: the walk goes on with those it has.
    }
    work();
    helpers.clear();

    QList<FoundFile> files;
    files.reserve(found_);
    collect(root, files);
    return files;
}

// Takes the deepest folder waiting until none waits and none is being listed (a folder being
// listed may still add its sub-folders).
void FolderWalk::work() {
    std::unique_lock guard(lock_);
    for (;;) {
        changed_.wait(guard, [this] { return !waiting_.empty() || listing_ == 0; });
        if (waiting_.empty()) return;
        Node* node = waiting_.back();
        waiting_.pop_back();
        ++listing_;
        guard.unlock();
        list(*node);
        guard.lock();
        --listing_;
        // Pushed last first, so the first sub-folder is listed next: the walk stays close to
        // the order the disk was written in.
        for (auto child = node->children.rbegin(); child != node->children.rend(); ++child) {
            waiting_.push_back(child->get());
        }
        for (const Entry& entry : node->entries) found_ += entry.child < 0 ? 1 : 0;
        changed_.notify_all();
    }
}

// A folder's entries as listed: the files taken, with one status read each, and its
// sub-folders, which other calls list. Hidden entries are passed over and links neither taken
// nor followed (the root itself may be a link).
void FolderWalk::list(Node& node) const {
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (node.root ? 0 : O_NOFOLLOW);
    const int fd = ::open(node.name.constData(), flags);
    if (fd < 0) return;
    DIR* dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    const auto enter = [&node](const char* name) {
        auto child = std::make_unique<Node>();
        child->name = node.name.endsWith('/') ? node.name + name : node.name + '/' + name;
        child->path = joined(node.path, QFile::decodeName(name)) + QLatin1Char('/');
        node.entries.append({{}, qsizetype(node.children.size())});
        node.children.push_back(std::move(child));
    };
    while (const dirent* entry = ::readdir(dir)) {
        const char* name = entry->d_name;
        // Hidden entries, "." and "..".
        if (name[0] == '.') continue;
        const unsigned char type = entry->d_type;
        if (type == DT_DIR) {
            enter(name);
            continue;
        }
        if ((type != DT_REG && type != DT_UNKNOWN) || (!taken(name) && type == DT_REG)) continue;
        struct stat status {};
        if (::fstatat(::dirfd(dir), name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (S_ISDIR(status.st_mode)) {
            enter(name);
        } else if (S_ISREG(status.st_mode) && taken(name)) {
            node.entries.append({{joined(node.path, QFile::decodeName(name)), qint64(status.st_size),
                                  wholeSeconds(status.st_mtim.tv_sec, status.st_mtim.tv_nsec)},
                                 -1});
        }
    }
    ::closedir(dir);
}

bool FolderWalk::taken(const char* name) const {
    const char* dot = std::strrchr(name, '.');
    if (!dot) return false;
    const QByteArrayView suffix(dot + 1);
    for (const QByteArray& extension : extensions_) {
        if (suffix == extension) return true;
    }
    return false;
}

// Each folder's files and sub-folders where the folder listed them. The nodes are freed as
// they are passed, so the tree and the list are not held in full at once.
void FolderWalk::collect(Node& node, QList<FoundFile>& files) {
    for (Entry& entry : node.entries) {
        if (entry.child < 0) {
            files.append(std::move(entry.file));
        } else {
            collect(*node.children[entry.child], files);
            node.children[entry.child].reset();
        }
    }
    node.entries = {};
}

}  // namespace sonvale
