// Tests that look at all processes, or at fixed places such as /tmp, run where there is nothing of anybody else.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>

#include <csignal>
#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dm::test {

enum class Isolation {
    Processes,         ///< own processes and own mount table, no network
    ProcessesAndPlaces ///< the same with an empty RAM disk of its own on each of /tmp and /var/tmp
};

namespace detail {

inline constexpr int skippedInside = 2;

/// Ends the process where the machine does not allow what is tried; the reason goes to the waiting test.
inline void require(bool worked, const char *what, int reasonPipe) {
    if (worked)
        return;
    dprintf(reasonPipe, "%s: %s", what, std::strerror(errno));
    _exit(1);
}

/// Inside a new user namespace this user keeps the number, so that files and processes stay this user's.
inline void mapOwnUser(uid_t user, gid_t group) {
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
}

inline void mountPrivatePlaces(int reasonPipe) {
    for (const char *place : {"/tmp", "/var/tmp"})
        require(mount("tmpfs", place, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "mount tmpfs", reasonPipe);
    // The folders that the environment of the tests names may lie below what is covered now.
    for (const char *variable :
         {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "TMPDIR"})
        if (const char *folder = std::getenv(variable)) {
            std::error_code ignored;
            std::filesystem::create_directories(folder, ignored);
        }
}

/// The first process of the new process namespace. When it ends, the kernel ends everything it started.
[[noreturn]] inline void runInside(Isolation isolation, const std::function<void()> &inside, int reasonPipe) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts", reasonPipe);
    require(mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0, "mount proc", reasonPipe);
    if (isolation == Isolation::ProcessesAndPlaces)
        mountPrivatePlaces(reasonPipe);
    close(reasonPipe);
    try {
        inside();
    } catch (const std::exception &error) {
        ADD_FAILURE() << error.what();
    } catch (...) {
        ADD_FAILURE() << "an exception of unknown type";
    }
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : testing::Test::IsSkipped() ? skippedInside : 0);
}

/// Enters new namespaces, starts their first process and ends with the exit code of that one.
[[noreturn]] inline void runOutside(Isolation isolation, const std::function<void()> &inside, int reasonPipe) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const int userNamespace = user == 0 ? 0 : CLONE_NEWUSER;
    // The network too, since a desktop's sockets can have names in it.
    require(unshare(CLONE_NEWPID | CLONE_NEWNS | CLONE_NEWNET | userNamespace) == 0, "unshare", reasonPipe);
    if (userNamespace != 0)
        mapOwnUser(user, group);
    const pid_t first = fork();
    require(first >= 0, "fork", reasonPipe);
    if (first == 0)
        runInside(isolation, inside, reasonPipe);
    close(reasonPipe);
    int status = 0;
    waitpid(first, &status, 0);
    if (WIFSIGNALED(status))
        std::fprintf(stderr, "The isolated process was ended by signal %d.\n", WTERMSIG(status));
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

} // namespace detail

/// Runs a test body in process and mount namespaces of its own, where every expectation works as usual: what fails
/// there is printed, and fails the calling test. Skips the calling test where this machine allows no namespaces. To be
/// called as the only statement of a test.
inline void runIsolated(Isolation isolation, const std::function<void()> &inside) {
    int reasonPipe[2];
    ASSERT_EQ(pipe2(reasonPipe, O_CLOEXEC), 0);
    std::fflush(nullptr); // or what is buffered here would be printed twice
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(reasonPipe[0]);
        detail::runOutside(isolation, inside, reasonPipe[1]);
    }
    close(reasonPipe[1]);
    std::string reason;
    char text[256];
    for (ssize_t size; (size = read(reasonPipe[0], text, sizeof text)) > 0;)
        reason.append(text, static_cast<std::size_t>(size));
    close(reasonPipe[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (!reason.empty())
        GTEST_SKIP() << "No namespaces of its own for this test (" << reason << ")";
    if (WIFEXITED(status) && WEXITSTATUS(status) == detail::skippedInside)
        GTEST_SKIP() << "The isolated part was skipped; see above.";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "The isolated part failed; see above.";
}

/// Gives up all privileges of this process: root becomes the user given, anybody else loses the powers that a user
/// namespace brings. False with errno set where that is not possible.
inline bool becomeOrdinaryUser(uid_t user = 65534) {
    if (geteuid() == 0) {
        if (setgroups(0, nullptr) != 0 || setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)
            return false;
    } else {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[2] = {};
        if (syscall(SYS_capset, &header, none) != 0)
            return false;
    }
    // A change of user makes the process one that may not be looked into; its own /proc files would be root's.
    return prctl(PR_SET_DUMPABLE, 1) == 0;
}

} // namespace dm::test
