// Preloaded under callgrind, which as Debian 12 has it ends openat2 as unknown. The same open without the rules of the
// resolution takes as much work outside of the kernel.
#include <cstdarg>
#include <cstddef>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

extern "C" long syscall(long number, ...) noexcept {
    long arguments[6];
    std::va_list list;
    va_start(list, number);
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_openat2) {
        const auto *how = reinterpret_cast<const struct open_how *>(arguments[2]);
        return openat(static_cast<int>(arguments[0]), reinterpret_cast<const char *>(arguments[1]),
                      static_cast<int>(how->flags), static_cast<mode_t>(how->mode));
    }
    using Syscall = long (*)(long, ...);
    static const auto next = reinterpret_cast<Syscall>(dlsym(RTLD_NEXT, "syscall"));
    return next(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}
