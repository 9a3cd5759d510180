// Linux names and the program's names, one to one both ways.
//
// A byte sequence that the program's normal form refuses, or that is no valid UTF-8, is written with units that no
// other name yields: U+F000 plus the value for a refused character, U+DC00 plus the value for a stray byte.
#pragma once

#include "platform/text.h"

#include <string>
#include <string_view>

namespace dm::platform {

/// Appends the program's form of one Linux name (one component: no slash, no NUL, not empty). Every such name has one.
void appendWideName(std::string_view name, WString &wide);

/// The Linux name that maps forward to exactly this component; false where there is none, so that no spelling
/// can smuggle in a slash, a NUL, "." or "..".
bool linuxName(WStringView wide, std::string &name);

} // namespace dm::platform
