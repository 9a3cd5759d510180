// The command line as one text.
#pragma once

#include "platform/text.h"

#include <span>

namespace dm::platform {

/// Joins arguments so that the published splitting rules give them back: by blanks, with quotation marks around one
/// that is empty or holds a blank or a quotation mark. A byte that is no valid UTF-8 becomes U+DC00 plus its value.
WString commandLineOf(std::span<const char *const> arguments);

} // namespace dm::platform
