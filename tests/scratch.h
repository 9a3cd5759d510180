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

using namespace std::chrono_literals;

/// Throws with errno where a call of the preparation did not work.
inline void require(bool worked, const std::string &what) {
    if (!worked)
        throw std::system_error(errno, std::generic_category(), what);
}

/// An empty folder in the temp folder (or another), removed at the end with all that is in it. Names are relative to
/// it; folders that a name needs are made on the way. What cannot be made throws.
class Scratch {
public:
    explicit Scratch(const std::filesystem::path &base = std::filesystem::temp_directory_path())
        : path_((std::filesystem::canonical(base) / "scratch-XXXXXX").string()) {
        require(mkdtemp(path_.data()) != nullptr, path_);
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    /// Linux path.
    std::string path(std::string_view name = {}) const {
        return name.empty() ? path_ : path_ + '/' + std::string(name);
    }
    /// The program's form of the same.
    WString wide(std::string_view name = {}) const { return platform::drivePath(path(name)); }

    std::string folder(std::string_view name) const {
        std::filesystem::create_directories(path(name));
        return path(name);
    }
    std::string file(std::string_view name, std::string_view content = "content",
                     std::chrono::nanoseconds age = 48h) const {
        makeParent(name);
        std::ofstream(path(name), std::ios::binary | std::ios::trunc) << content;
        setAge(name, age);
        return path(name);
    }
    void link(std::string_view name, const std::string &target) const {
        makeParent(name);
        std::filesystem::create_symlink(target, path(name));
    }
    void hardLink(std::string_view name, std::string_view existing) const {
        makeParent(name);
        std::filesystem::create_hard_link(path(existing), path(name));
    }
    void rename(std::string_view from, std::string_view to) const { std::filesystem::rename(path(from), path(to)); }
    /// Last written this long ago; a negative age lies in the future. A link is not followed.
    void setAge(std::string_view name, std::chrono::nanoseconds age) const {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        const auto time = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec) - age;
        setWriteTime(name, {time / 1s, static_cast<long>(time % 1s / 1ns)});
    }
    void setWriteTime(std::string_view name, timespec time) const {
        const timespec times[2] = {{0, UTIME_OMIT}, time};
        require(utimensat(AT_FDCWD, path(name).c_str(), times, AT_SYMLINK_NOFOLLOW) == 0, path(name));
    }
    timespec writeTime(std::string_view name) const {
        struct stat status;
        require(lstat(path(name).c_str(), &status) == 0, path(name));
        return status.st_mtim;
    }
    void setMode(std::string_view name, mode_t mode) const {
        require(chmod(path(name).c_str(), mode) == 0, path(name));
    }

    std::string read(std::string_view name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Also true for a link to nowhere.
    bool exists(std::string_view name) const {
        return std::filesystem::symlink_status(path(name)).type() != std::filesystem::file_type::not_found;
    }

private:
    void makeParent(std::string_view name) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    }

    std::string path_;
};

} // namespace dm::test
