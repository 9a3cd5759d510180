// The program with its windows: start, the one message loop, and the orderly end.
#pragma once

namespace dm {

/// Gives the exit code: that of the quit message, or 10 where the main window could not be created. Called on the first
/// thread with COM initialised, which it ends unless the main window could not be created.
int runWindowed(int show);

} // namespace dm
