#include "MprisLog.h"

namespace sonvale {

Q_LOGGING_CATEGORY(lcMpris, "sonvale.mpris")

}  // namespace sonvale
