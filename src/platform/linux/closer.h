// The last close of a removed file, off the way of the next one.
//
// When the last descriptor of a file without a name is closed, the file system gives its blocks back, which costs as
// much as everything before it, and on some disks waits for the device. A second thread does that meanwhile.
#pragma once

#include "platform/linux/fd.h"

namespace dm::platform {

/// Gives up the lease of a removed file and closes it, now or a little later.
void closeRemoved(Fd file);

/// Returns when everything given to closeRemoved is closed, so that the space is free.
void finishClosing();

} // namespace dm::platform
