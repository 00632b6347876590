#include "SearchOperation.h"

namespace sonvale {

SearchOperation::SearchOperation(QString query, std::shared_ptr<SearchEngine> engine,
                                 std::weak_ptr<SearchOperationDelegate> delegate)
    : query_(std::move(query)), engine_(std::move(engine)), delegate_(std::move(delegate)) {
    if (!engine_) qFatal("A search operation needs an engine");
}

void SearchOperation::main() {
    if (isCancelled()) return;
    const QStringList paths = engine_->search(query_);
    if (isCancelled()) return;
    if (const std::shared_ptr<SearchOperationDelegate> delegate = delegate_.lock()) delegate->searchFinished(paths);
}

}  // namespace sonvale
