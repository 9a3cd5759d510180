// The entry of the program and its run modes.
#pragma once

#include "platform/win32.h"

namespace dm {

/// The program's module, as the entry got it.
inline HINSTANCE moduleInstance = nullptr;

} // namespace dm

/// The only entry. Gives the exit code: 0 for a self-test that passed and 11 for one that failed; 10 where the main
/// window could not be created.
int WINAPI wWinMain(HINSTANCE instance, HINSTANCE previousInstance, LPWSTR commandLine, int showCommand);
