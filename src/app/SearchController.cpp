#include "SearchController.h"

#include "Library.h"
#include "OperationQueue.h"
#include "SearchOperation.h"
#include "SearchResultsModel.h"

#include <mutex>

namespace sonvale {

// Where the search queue's thread leaves results for the controller. The controller detaches
// it when it goes; posting and detaching take the same lock, so nothing is posted to a
// controller being destroyed (and Qt drops what was posted to it before).
class SearchController::Mailbox {
public:
    explicit Mailbox(SearchController* controller) : controller_(controller) {}

    void post(quint64 serial, const QStringList& paths) {
        const std::lock_guard lock(mutex_);
        if (!controller_) return;
        SearchController* controller = controller_;
        QMetaObject::invokeMethod(
            controller_, [controller, serial, paths] { controller->receive(serial, paths); }, Qt::QueuedConnection);
    }

    void detach() {
        const std::lock_guard lock(mutex_);
        controller_ = nullptr;
    }

private:
    std::mutex mutex_;
    SearchController* controller_;
};

// The delegate of one search operation.
class SearchController::Delivery final : public SearchOperationDelegate {
public:
    Delivery(std::shared_ptr<Mailbox> mailbox, quint64 serial) : mailbox_(std::move(mailbox)), serial_(serial) {}
    void searchFinished(const QStringList& results) override { mailbox_->post(serial_, results); }

private:
    const std::shared_ptr<Mailbox> mailbox_;
    const quint64 serial_;
};

SearchController::SearchController(Library& library, std::shared_ptr<SearchEngine> engine, OperationQueue& queue,
                                   QObject* parent)
    : QObject(parent),
      library_(library),
      engine_(std::move(engine)),
      queue_(queue),
      model_(new SearchResultsModel(this)),
      mailbox_(std::make_shared<Mailbox>(this)) {
    typingTimer_.setSingleShot(true);
    typingTimer_.setInterval(kTypingPauseMs);
    connect(&typingTimer_, &QTimer::timeout, this, &SearchController::search);
    library_.addListener(this);
}

SearchController::~SearchController() {
    library_.removeListener(this);
    mailbox_->detach();
}

bool SearchController::hasFolders() const { return !library_.folders().isEmpty(); }

void SearchController::setQuery(const QString& text) {
    query_ = text;
    typingTimer_.start();
}

void SearchController::search() {
    typingTimer_.stop();
    delivery_ = std::make_shared<Delivery>(mailbox_, ++serial_);
    queue_.cancelAllOperations();
    queue_.addOperation(std::make_shared<SearchOperation>(query_, engine_, delivery_));
    setSearching(true);
    emit searchStarted(query_);
}

void SearchController::prepare() {
    queue_.addOperation([engine = engine_](const Operation& operation) {
        if (!operation.isCancelled()) engine->prepareSearch();
    });
}

void SearchController::receive(quint64 serial, const QStringList& paths) {
    if (serial != serial_) return;
    QStringList roots;
    roots.reserve(library_.folders().size());
    for (const FolderRef& folder : library_.folders()) roots.append(folder->root);
    model_->setResults(paths, SearchResultsModel::commonPrefix(roots));
    status_ = tr("%1 results").arg(paths.size());
    setSearching(false);
    emit resultsShown();
}

void SearchController::setSearching(bool searching) {
    if (searching == searching_) return;
    searching_ = searching;
    emit searchingChanged(searching);
}

void SearchController::foldersAdded(const QList<FolderRef>&, qsizetype) { emit foldersChanged(); }

void SearchController::folderRemoved(const FolderRef&, qsizetype) { emit foldersChanged(); }

void SearchController::folderScanFinished(const FolderRef&) { search(); }

}  // namespace sonvale
