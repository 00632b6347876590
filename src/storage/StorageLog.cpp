#include "StorageLog.h"

namespace sonvale {

Q_LOGGING_CATEGORY(lcDb, "sonvale.db")

}  // namespace sonvale
