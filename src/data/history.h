// The activity history: what the program did, for the user to look up.
#pragma once

#include "platform/text.h"

namespace dm {

/// Records a plain message: its text (a source text of the message catalogue) and a detail, which may be empty.
void appendHistoryMessage(const WString &text, const WString &detail);

} // namespace dm
