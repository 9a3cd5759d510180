// Cases of permissions need a user whom they bind, which root is not.
#pragma once

#include "namespaces.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace dm::test {

namespace detail {

inline constexpr const char *ordinaryUserVariable = "DUSTMERE_TEST_SHARED_FOLDER";
inline constexpr uid_t ordinaryUser = 65534;
inline constexpr int noOrdinaryUser = 100;

/// What root has made for itself is closed to the other user, who gets folders of its own.
inline void enterFoldersOf(uid_t user, const std::string &folder) {
    for (const char *variable :
         {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "TMPDIR"}) {
        const std::string own = folder + '/' + variable;
        test::require(mkdir(own.c_str(), S_IRWXU) == 0 && chown(own.c_str(), user, user) == 0, own);
        setenv(variable, own.c_str(), 1);
    }
}

/// Starts this program anew for the one test, since what it knows by now of its user and folders holds for root only.
[[noreturn]] inline void runTestAnew(const std::string &folder) {
    const auto *test = testing::UnitTest::GetInstance()->current_test_info();
    std::string filter = std::string("--gtest_filter=") + test->test_suite_name() + '.' + test->name();
    std::string program = "dustmere_tests";
    char *arguments[] = {program.data(), filter.data(), nullptr};
    const int self = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    if (geteuid() == 0)
        enterFoldersOf(ordinaryUser, folder);
    setenv(ordinaryUserVariable, folder.c_str(), 1);
    if (self >= 0 && becomeOrdinaryUser(ordinaryUser))
        fexecve(self, arguments, environ);
    _exit(noOrdinaryUser);
}

} // namespace detail

/// Runs a test body as a user without root's powers, in a process of its own: what fails there is printed, and fails
/// the calling test. To be called as the only statement of a test. `prepare`, if there is one, runs before it as root;
/// both get a folder that root owns and the user may enter.
inline void runAsOrdinaryUser(const std::function<void(const std::string &shared)> &inside,
                              const std::function<void(const std::string &shared)> &prepare = {}) {
    if (const char *shared = std::getenv(detail::ordinaryUserVariable))
        return inside(shared);
    if (prepare && geteuid() != 0)
        GTEST_SKIP() << "Only root can make what belongs to another user.";
    std::string folder = "/tmp/dustmere-user-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    ASSERT_EQ(chmod(folder.c_str(), 0711), 0);
    if (prepare)
        prepare(folder);
    std::fflush(nullptr); // or what is buffered here would be printed twice
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        detail::runTestAnew(folder);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    std::filesystem::remove_all(folder);
    if (WIFEXITED(status) && WEXITSTATUS(status) == detail::noOrdinaryUser)
        GTEST_SKIP() << "This process cannot become an ordinary user.";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "The part of the ordinary user failed; see above.";
}

} // namespace dm::test
