// What earlier versions wrote into the history: a line that begins with a local time, and a sentence in Russian or
// English, which may go on over the lines that follow.
#pragma once

#include "data/history.h"
#include "platform/text.h"

#include <cstddef>

namespace dm {

/// The units of a time stamp and of the tab or blank behind it.
inline constexpr std::size_t legacyStampUnits = 20;

/// Recognises "YYYY-MM-DD HH:MM:SS" with a tab or blank behind it; gives the index behind all tabs and blanks.
bool parseLegacyTimestamp(WStringView text, std::size_t &position);

/// Recognises the sentence behind the time. False, with the event as it was, for any other text.
bool parseLegacyEvent(WStringView text, HistoryEvent &event);

} // namespace dm
