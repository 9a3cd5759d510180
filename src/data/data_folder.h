// The folder that holds everything the program keeps, and how a file in it is replaced.
#pragma once

#include "platform/text.h"

#include <string_view>

namespace dm {

/// The path of the data folder, looked up afresh and made if it is missing (that it could not be made shows when a file
/// in it is opened). Throws a runtime error "LocalAppData" if there is no base folder for it.
WString dataFolder();

/// Replaces the file by one of exactly these bytes, or leaves it as it was: no crash leaves a part of either under its
/// name. Throws a runtime error "cannot save settings" if the side file (the path and ".new") cannot be made, and
/// "cannot commit settings" if it cannot be written or put in the file's place; then the side file is gone again.
void atomicSave(const WString &path, std::string_view bytes);

} // namespace dm
