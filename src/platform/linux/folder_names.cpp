#include "platform/linux/folder_names.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <ctime>

namespace dm::platform {

Fd lockNames(int folder) {
    constexpr int attempts = 1000;
    constexpr timespec pause = {0, 1'000'000};
    Fd lock(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock)
        return lock;
    for (int attempt = 0; flock(lock.get(), LOCK_EX | LOCK_NB) != 0; ++attempt) {
        if (errno != EWOULDBLOCK || attempt == attempts)
            return Fd();
        nanosleep(&pause, nullptr);
    }
    return lock;
}

bool flushNames(int folder) {
    return fsync(folder) == 0 || errno == EINVAL || errno == EOPNOTSUPP;
}

} // namespace dm::platform
