#include "data/history.h"

namespace dm {

void appendHistoryMessage(const WString &, const WString &) {
    // Nothing is kept yet: there is no history file so far, and so nowhere to write.
}

} // namespace dm
