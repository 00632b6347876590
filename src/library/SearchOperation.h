#pragma once

#include "Operation.h"
#include "SearchEngine.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace sonvale {

// Receives the result of a SearchOperation, on the search queue's thread: a delegate that
// touches the user interface moves to the main thread itself.
class SearchOperationDelegate {
public:
    virtual ~SearchOperationDelegate() = default;
    // The paths of the matching tracks in the engine's order; empty when nothing matched.
    virtual void searchFinished(const QStringList& results) = 0;
};

// One search, run on the `search` queue. Each new query cancels the waiting ones, so only the
// latest reaches the delegate: cancellation is looked at before the query and again before
// delivery (a query already running in the database is not interrupted). The engine is held
// for the operation's lifetime (a null engine stops the program), the delegate only weakly: a
// delegate gone by then hears nothing.
class SearchOperation final : public Operation {
public:
    SearchOperation(QString query, std::shared_ptr<SearchEngine> engine, std::weak_ptr<SearchOperationDelegate> delegate);

    void main() override;

    const QString& query() const { return query_; }

private:
    const QString query_;
    const std::shared_ptr<SearchEngine> engine_;
    const std::weak_ptr<SearchOperationDelegate> delegate_;
};

}  // namespace sonvale
