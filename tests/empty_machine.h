// A machine with nothing on it, for tests of what works on the fixed places.
#pragma once

#include "namespaces.h"
#include "platform/linux/base_folders.h"
#include "scratch.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>

#include <sys/mount.h>
#include <sys/wait.h>

namespace dm::test {

/// Lays an empty RAM disk on each of /tmp, /var/tmp and /home, and makes a home folder there with nothing in it, as a
/// new account has it: its path. Only for a process isolated with its places, before it asks for its base folders.
inline std::string enterEmptyMachine(uid_t user = geteuid(), const char *dataHome = nullptr) {
    for (const char *place : {"/tmp", "/var/tmp", "/home"})
        require(mount("tmpfs", place, "tmpfs", MS_NOSUID, "mode=1777") == 0, place);
    for (const char *variable : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "TMPDIR"})
        unsetenv(variable);
    const std::string home = "/home/user";
    require(mkdir(home.c_str(), S_IRWXU) == 0 && (user == geteuid() || chown(home.c_str(), user, user) == 0), home);
    setenv("HOME", home.c_str(), 1);
    if (dataHome != nullptr)
        setenv("XDG_DATA_HOME", dataHome, 1);
    if (platform::baseFolders().home != home)
        throw std::logic_error("The base folders are known already: this test needs a process of its own.");
    return home;
}

inline void emptyFolder(const std::string &path) {
    for (const auto &entry : std::filesystem::directory_iterator(path))
        std::filesystem::remove_all(entry.path());
}

/// Everything below the folders but folders; of a link, the link itself. And what the program makes for a while: its
/// private folders, and those by which it remembers them.
inline std::set<std::string> filesBelow(std::initializer_list<const char *> folders) {
    const auto isOfProgram = [](const std::string &name) {
        const std::size_t start = name.starts_with(".dustmere-") ? 10 : name.starts_with("private-folder-") ? 15 : 0;
        return start != 0 && name.size() == start + 32;
    };
    std::set<std::string> files;
    for (const char *folder : folders)
        for (const auto &entry : std::filesystem::recursive_directory_iterator(
                 folder, std::filesystem::directory_options::skip_permission_denied))
            if (entry.is_symlink() || !entry.is_directory() || isOfProgram(entry.path().filename()))
                files.insert(entry.path());
    return files;
}

/// Starts a process that does what it is told to, or executes another program from there, and waits until it has. It
/// then stays until it is ended.
inline pid_t startProcess(const std::function<void()> &work) {
    int ready[2];
    require(pipe2(ready, O_CLOEXEC) == 0, "pipe");
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            work();
        } catch (const std::exception &error) {
            std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
        close(ready[0]);
        close(ready[1]);
        for (;;)
            pause();
    }
    close(ready[1]);
    char nothing;
    const ssize_t end = read(ready[0], &nothing, 1); // closed by the execution of a program or by hand
    close(ready[0]);
    require(end == 0, "start of a process");
    return child;
}

inline void endProcess(pid_t process) {
    kill(process, SIGKILL);
    require(waitpid(process, nullptr, 0) == process, "end of a process");
}

} // namespace dm::test
