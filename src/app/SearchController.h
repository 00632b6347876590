#pragma once

#include "LibraryListener.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

namespace sonvale {

class Library;
class OperationQueue;
class SearchEngine;
class SearchResultsModel;

// The search window's logic, without widgets: the typing pause, the hand-over of each query to
// the search queue, the results put into the model with the library's common prefix, and a fresh
// search when a library folder's scan has finished.
//
// Each text change restarts a single-shot timer of 20 ms, so a burst of keystrokes starts one
// search with the whole text (an empty text included). A search cancels every operation still
// on the queue and adds its own; only the newest search's results are shown: an older one's that
// arrive late are dropped. Results arrive on the queue's thread and are posted to the main
// thread. Main thread only; the library, the engine and the queue must outlive the controller,
// which registers as the library's listener and removes itself when destroyed.
class SearchController : public QObject, public LibraryListener {
    Q_OBJECT
public:
    static constexpr int kTypingPauseMs = 20;

    SearchController(Library& library, std::shared_ptr<SearchEngine> engine, OperationQueue& queue,
                     QObject* parent = nullptr);
    ~SearchController() override;

    SearchResultsModel* model() const { return model_; }
    const QString& query() const { return query_; }
    // True from a search's start until its results are shown.
    bool isSearching() const { return searching_; }
    bool hasFolders() const;
    // "N results", also for one ("1 results"); empty before the first results.
    const QString& status() const { return status_; }
    QTimer& typingTimer() { return typingTimer_; }

    // The text typed changed: the search follows after the typing pause.
    void setQuery(const QString& text);
    // Searches for the current text now.
    void search();
    // Asks the engine on the search queue to do the work of its first search, so that the
    // first query typed is answered quickly.
    void prepare();

    void foldersAdded(const QList<FolderRef>& folders, qsizetype index) override;
    void folderRemoved(const FolderRef& folder, qsizetype index) override;
    void folderScanFinished(const FolderRef& folder) override;

signals:
    // A search was handed to the queue.
    void searchStarted(QString query);
    void searchingChanged(bool searching);
    // The model holds new results and status() says how many.
    void resultsShown();
    // A folder was added to the library or removed from it.
    void foldersChanged();

private:
    class Mailbox;
    class Delivery;

    // Main thread: the results of search number `serial`.
    void receive(quint64 serial, const QStringList& paths);
    void setSearching(bool searching);

    Library& library_;
    const std::shared_ptr<SearchEngine> engine_;
    OperationQueue& queue_;
    SearchResultsModel* model_;
    QTimer typingTimer_;
    QString query_;
    QString status_;
    bool searching_ = false;
    quint64 serial_ = 0;
    // Shared with the deliveries in flight; detached when the controller goes.
    std::shared_ptr<Mailbox> mailbox_;
    // The newest search's delivery; an operation holds it only weakly, so replacing it silences
    // the older search.
    std::shared_ptr<Delivery> delivery_;
};

}  // namespace sonvale
