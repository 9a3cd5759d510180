// Numbers, sizes and dates as the current language writes them. The user's regional settings play no part.
#pragma once

#include "platform/text.h"

#include <cstdint>

namespace dm {

/// Decimal digits, never grouped.
WString formatCount(std::uint64_t value);

/// The size in B, KB, MB or GB (binary), with a full stop as the decimal mark in every language.
WString formatSize(std::uint64_t bytes);

/// Local date and time, short and without seconds, in the form of the current language's locale. Takes seconds since
/// 1970 in UTC, above zero. What the system cannot tell is "—".
WString formatDateTime(std::int64_t time);

} // namespace dm
