// A folder of its own for a test that works on the disk.
#pragma once

#include "platform/linux/volumes.h"
#include "platform/text.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dm::test {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// Throws with errno where a call of the preparation did not work.
inline void require(bool worked, const std::string &what) {
    if (!worked)
        throw std::system_error(errno, std::generic_category(), what);
}

/// Empty where there is none.
inline std::string readFile(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Makes a file last written this long ago (a negative age lies in the future), and last read long before, with the
/// folders that its path needs.
inline void makeFile(const std::string &path, std::string_view content = "content",
                     std::chrono::nanoseconds age = 48h) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    require(static_cast<bool>(file << content << std::flush), path);
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const auto time = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec) - age;
    const timespec times[2] = {{1'000'000'000, 0}, {time / 1s, static_cast<long>(time % 1s / 1ns)}};
    require(utimensat(AT_FDCWD, path.c_str(), times, 0) == 0, path);
}

/// An empty folder in the temp folder (or another), removed at the end with all that is in it. Names are relative to
/// it; folders that a name needs are made on the way. What cannot be made throws.
class Scratch {
public:
    explicit Scratch(const fs::path &base = fs::temp_directory_path())
        : path_((fs::canonical(base) / "scratch-XXXXXX").string()) {
        require(mkdtemp(path_.data()) != nullptr, path_);
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    /// Linux path.
    std::string path(std::string_view name = {}) const {
        return name.empty() ? path_ : path_ + '/' + std::string(name);
    }
    /// The program's form of the same.
    WString wide(std::string_view name = {}) const { return platform::drivePath(path(name)); }

    std::string folder(std::string_view name) const {
        fs::create_directories(path(name));
        return path(name);
    }
    std::string file(std::string_view name, std::string_view content = "content",
                     std::chrono::nanoseconds age = 48h) const {
        makeFile(path(name), content, age);
        return path(name);
    }
    void link(std::string_view name, const std::string &target) const {
        fs::create_directories(fs::path(path(name)).parent_path());
        fs::create_symlink(target, path(name));
    }
    void setMode(std::string_view name, mode_t mode) const {
        require(chmod(path(name).c_str(), mode) == 0, path(name));
    }
    std::string read(std::string_view name) const { return readFile(path(name)); }
    /// Also true for a link to nowhere.
    bool exists(std::string_view name) const {
        return fs::symlink_status(path(name)).type() != fs::file_type::not_found;
    }

private:
    std::string path_;
};

} // namespace dm::test
