// How failures of the kernel are told in published codes.
#pragma once

#include "platform/win32.h"

namespace dm::platform {

/// The published code for an errno value. What has no counterpart is ERROR_GEN_FAILURE, which nobody takes for benign.
DWORD errorOf(int errnoValue);

/// Sets the last error and gives FALSE.
BOOL fail(DWORD code);
/// The same with the code for the current errno.
BOOL failErrno();

} // namespace dm::platform
