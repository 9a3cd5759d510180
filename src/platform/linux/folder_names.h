// What the program's processes do to the names of one folder, one after the other.
#pragma once

#include "platform/linux/fd.h"

namespace dm::platform {

/// Until the descriptor is closed, no other thread or process of the program that takes this lock too makes, moves or
/// removes a name in the folder. Without it a file could be moved, or a new one made under its name, between another
/// process's open of that name and its lock on the file. The descriptor is one of the folder, open for reading. Empty
/// with errno set; EWOULDBLOCK if somebody keeps the lock for longer than a second (a process that is stopped, say).
Fd lockNames(int folder);

/// Gives back once the disk has the names of the folder, which is open for reading. False with errno set; some file
/// systems cannot do that, and there is then nothing more that could be asked of them.
bool flushNames(int folder);

} // namespace dm::platform
