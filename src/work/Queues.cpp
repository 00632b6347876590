#include "Queues.h"

namespace sonvale {

Queues::Queues() = default;

Queues::~Queues() {
    // All four first, so that no queue waits on work another one was about to drop.
    scan.cancelAllOperations();
    index.cancelAllOperations();
    search.cancelAllOperations();
    artwork.cancelAllOperations();
}

}  // namespace sonvale
