// A process that is led from one system call to the next, so that a test can stop or kill it at every moment that
// matters: between two of them nothing changes outside of it.
#pragma once

#include "scratch.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <set>
#include <utility>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace dm::test {

class TracedProcess {
public:
    /// Stopped before the work begins. Throws where this process may trace no other.
    explicit TracedProcess(const std::function<void()> &work) : process_(fork()) {
        require(process_ >= 0, "fork");
        if (process_ == 0)
            run(work);
        wait();
        require(!ended(), "ptrace");
        require(ptrace(PTRACE_SETOPTIONS, process_, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD) == 0, "ptrace");
    }
    TracedProcess(const TracedProcess &) = delete;
    TracedProcess &operator=(const TracedProcess &) = delete;
    ~TracedProcess() { endByKill(); }

    /// On to the next entry into a system call, or return from one. False if the process has ended instead.
    bool step() {
        resume(PTRACE_SYSCALL);
        return !ended();
    }
    /// Goes so many steps; false if the process ends on the way.
    bool steps(int count) {
        while (count > 0 && step())
            --count;
        return count == 0;
    }
    /// The number of the system call that it enters; -1 where it returns from one.
    long call() const {
        __ptrace_syscall_info info = {};
        require(ptrace(PTRACE_GET_SYSCALL_INFO, process_, sizeof info, &info) > 0, "ptrace");
        return info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
    }
    /// The call that it enters writes to something other than a file.
    bool writesElsewhere() const {
        __ptrace_syscall_info info = {};
        require(ptrace(PTRACE_GET_SYSCALL_INFO, process_, sizeof info, &info) > 0, "ptrace");
        const std::string descriptor =
            "/proc/" + std::to_string(process_) + "/fd/" + std::to_string(info.entry.args[0]);
        return info.op == PTRACE_SYSCALL_INFO_ENTRY && info.entry.nr == SYS_write &&
               !std::filesystem::is_regular_file(descriptor);
    }
    /// Lets it run to its end: true if the work was done without an exception.
    bool finish() {
        while (!ended())
            resume(PTRACE_CONT);
        return WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
    }
    void endByKill() {
        if (ended())
            return;
        kill(process_, SIGKILL);
        wait();
    }

private:
    [[noreturn]] static void run(const std::function<void()> &work) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(1);
        raise(SIGSTOP);
        try {
            work();
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    void resume(__ptrace_request how) {
        require(ptrace(how, process_, nullptr, nullptr) == 0, "ptrace");
        wait();
    }
    void wait() { require(waitpid(process_, &status_, 0) == process_, "waitpid"); }
    bool ended() const { return WIFEXITED(status_) || WIFSIGNALED(status_); }

    pid_t process_;
    int status_ = 0;
};

/// The calls that look at names in folders, or change them.
inline const std::set<long> callsOnNames = {SYS_flock,   SYS_openat,   SYS_openat2,   SYS_getdents64,
                                            SYS_mkdirat, SYS_renameat, SYS_renameat2, SYS_unlinkat};

/// Has the work done over and over by a process of its own, each time made anew by `prepare` and interfered with before
/// a later one of its system calls, or of those that are given; the last time it is left in peace. Gives the number of
/// times.
inline int atEveryCall(const std::function<void()> &prepare, const std::function<void()> &work,
                       const std::function<void(TracedProcess &)> &act, const std::function<void()> &check,
                       const std::set<long> &only = {}) {
    int times = 0;
    for (bool goesOn = true; goesOn && !testing::Test::HasFailure(); ++times) {
        SCOPED_TRACE("before call " + std::to_string(times));
        prepare();
        TracedProcess process(work);
        for (int calls = -1; goesOn && calls < times;) {
            goesOn = process.step();
            const long call = goesOn ? process.call() : -1;
            calls += call >= 0 && (only.empty() || only.contains(call));
        }
        if (goesOn)
            act(process);
        process.finish();
        check();
    }
    return times;
}

} // namespace dm::test
