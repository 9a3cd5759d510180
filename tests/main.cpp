// Runs the tests in an environment of their own, so that none of them sees or touches what belongs to the person who
// runs them: base folders, temporary files, desktop, screen, language.
#include "platform/linux/private_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// Where temporary files lie in memory, that of those which survive a start, since a search looks at disks only.
fs::path baseFolder() {
    const fs::path temp = fs::temp_directory_path();
    struct statfs status = {};
    return statfs(temp.c_str(), &status) == 0 && status.f_type == TMPFS_MAGIC ? "/var/tmp" : temp;
}

fs::path makeScratchFolder() {
    // Without links in its path: the code under test refuses to go through one.
    std::string folder = (fs::canonical(baseFolder()) / "dustmere-tests-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), folder);
    return folder;
}

void enterPrivateEnvironment(const fs::path &scratch) {
    const std::pair<const char *, const char *> folders[] = {
        {"HOME", "home"},
        {"XDG_DATA_HOME", "data"},
        {"XDG_CACHE_HOME", "cache"},
        {"XDG_CONFIG_HOME", "config"},
        {"XDG_RUNTIME_DIR", "runtime"},
        {"TMPDIR", "tmp"},
    };
    for (const auto &[variable, name] : folders) {
        fs::create_directory(scratch / name);
        fs::permissions(scratch / name, fs::perms::owner_all);
        setenv(variable, (scratch / name).c_str(), 1);
    }

    std::vector<std::string> unwanted = {
        "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "DBUS_SESSION_BUS_ADDRESS", "LANG", "LANGUAGE",
        // Where requests would go, and where their keys would be written.
        "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY", "SSLKEYLOGFILE"};
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string variable(*entry);
        if (variable.starts_with("LC_"))
            unwanted.push_back(variable.substr(0, variable.find('=')));
    }
    for (const std::string &variable : unwanted)
        unsetenv(variable.c_str());
    // Windows without a screen.
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();

    const fs::path scratch = makeScratchFolder();
    enterPrivateEnvironment(scratch);
    const int result = RUN_ALL_TESTS();

    dm::platform::removePrivateFolders();
    std::error_code error;
    fs::remove_all(scratch, error);
    if (error) {
        std::cerr << "A test left what cannot be removed in " << scratch << ": " << error.message() << '\n';
        return 1;
    }
    return result;
}
