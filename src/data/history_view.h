// The activity history as the user reads it, in the current language: records, and the plain sentences that earlier
// versions wrote into the same file. What cannot be vouched for is shown as it stands.
#pragma once

#include "data/history.h"
#include "platform/text.h"

#include <string_view>

namespace dm {

/// The text of the last 2 MiB of the history, or a sentence that tells why there is none. `truncated` is set to whether
/// the file holds more.
void loadHistoryTail(WString &text, bool &truncated);

/// The text of a stretch of the file that begins at the start of a line. Every line of it is shown.
WString renderHistoryLog(std::string_view bytes);

/// The event as a text, which may be several lines separated by line feeds.
WString renderHistoryEvent(const HistoryEvent &event);

} // namespace dm
