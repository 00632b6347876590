#include "Notifications.h"

namespace sonvale {

void Notifications::post(Signal signal) {
    QMetaObject::invokeMethod(this, [this, signal] { emit(this->*signal)(); }, Qt::QueuedConnection);
}

void Notifications::postSelectionChanged(int count) {
    QMetaObject::invokeMethod(this, [this, count] { emit selectionChanged(count); }, Qt::QueuedConnection);
}

}  // namespace sonvale
