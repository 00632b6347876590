#include "PlayerLog.h"

namespace sonvale {

Q_LOGGING_CATEGORY(lcPlayer, "sonvale.player")

}  // namespace sonvale
