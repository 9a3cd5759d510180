#include "make_tree.h"

#include "platform/linux/fd.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace dm::bench {

namespace {

using platform::Fd;

constexpr std::uint64_t longestChain = 90;
constexpr std::uint64_t deepestLevel = 5;
constexpr std::uint64_t specialEvery = 100;
constexpr std::uint64_t leastAgeHours = 48;
constexpr std::uint64_t agesHours = 720;
constexpr std::uint64_t leastLargeSize = std::uint64_t{101} << 20;

void check(bool worked, const std::string &path) {
    if (!worked)
        throw std::runtime_error(path + ": " + std::strerror(errno));
}

// Always the same sequence (the constants are Knuth's MMIX generator).
class Numbers {
public:
    std::uint64_t below(std::uint64_t limit) {
        state_ = state_ * 6364136223846793005 + 1442695040888963407;
        return (state_ >> 33) % limit;
    }

private:
    std::uint64_t state_ = 1;
};

// Few bytes for most, some KiB for some.
std::uint64_t nextSize(Numbers &numbers) {
    return numbers.below(8) == 0 ? numbers.below(8192) : numbers.below(512);
}

class TreeMaker {
public:
    TreeMaker(const std::string &base, std::uint64_t filesPerLarge)
        : base_(base), now_(std::time(nullptr)), content_(8192, 'd'), filesPerLarge_(filesPerLarge) {}

    void addFolder(const std::string &folder) {
        check(mkdir(folder.c_str(), 0700) == 0, folder);
        ++figures_.folders;
    }

    void addFile(const std::string &folder, std::uint64_t index) {
        const std::string path = folder + "/file-" + std::to_string(index) + ".tmp";
        if (index % specialEvery != specialEvery - 1) {
            const bool large = filesPerLarge_ != 0 && index % filesPerLarge_ == 0;
            figures_.large += large ? 1 : 0;
            figures_.offeredBytes += writeFile(path, 0600, true, large);
            ++figures_.offered;
            return;
        }
        switch (index / specialEvery % 4) {
        case 0:
            check(symlink(base_.c_str(), path.c_str()) == 0, path);
            ++figures_.symbolicLinks;
            break;
        case 1:
            writeFile(path, 0600, true);
            check(link(path.c_str(), (path + ".second").c_str()) == 0, path);
            figures_.hardLinkedNames += 2;
            break;
        case 2:
            writeFile(path, 0400, true);
            ++figures_.readOnly;
            break;
        default:
            writeFile(path, 0600, false);
            ++figures_.fresh;
        }
    }

    const TreeFigures &figures() const { return figures_; }

private:
    std::uint64_t writeFile(const std::string &path, mode_t mode, bool old, bool large = false) {
        const Fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        check(bool(file), path);
        std::uint64_t size = nextSize(numbers_);
        check(write(file.get(), content_.data(), size) == static_cast<ssize_t>(size), path);
        if (large)
            check(ftruncate(file.get(), static_cast<off_t>(size += leastLargeSize)) == 0, path);
        const std::uint64_t hours = old ? leastAgeHours + numbers_.below(agesHours) : 0;
        const timespec time = {now_ - static_cast<time_t>(hours * 3600), 0};
        const timespec times[2] = {time, time};
        check(futimens(file.get(), times) == 0, path);
        return size;
    }

    std::string base_;
    std::time_t now_;
    std::string content_;
    std::uint64_t filesPerLarge_;
    Numbers numbers_;
    TreeFigures figures_;
};

// The least number of subfolders a folder that lets this many folders find place down to the deepest level.
std::uint64_t branchingFor(std::uint64_t folders) {
    for (std::uint64_t branching = 2;; ++branching) {
        std::uint64_t room = 0;
        std::uint64_t level = 1;
        for (std::uint64_t depth = 1; depth <= deepestLevel; ++depth)
            room += level *= branching;
        if (room >= folders)
            return branching;
    }
}

// Level by level below the base; gives those that get files.
std::vector<std::string> addSmallFolders(TreeMaker &tree, const std::string &base, std::uint64_t count) {
    const std::uint64_t branching = branchingFor(count);
    std::vector<std::string> folders;
    folders.reserve(count);
    for (std::uint64_t index = 0; index < count; ++index) {
        const std::string &parent = index < branching ? base : folders[index / branching - 1];
        folders.push_back(parent + "/folder-" + std::to_string(index));
        tree.addFolder(folders.back());
    }
    if (count > branching)
        folders.erase(folders.begin(), folders.begin() + static_cast<std::ptrdiff_t>(branching));
    return folders;
}

void addChain(TreeMaker &tree, const std::string &base, std::uint64_t length, std::vector<std::string> &folders) {
    std::string folder = base;
    for (std::uint64_t depth = 1; depth <= length; ++depth) {
        folder += "/deep";
        tree.addFolder(folder);
        folders.push_back(folder);
    }
}

} // namespace

TreeFigures makeTree(const std::string &folder, std::uint64_t folders, std::uint64_t files, std::uint64_t largeFiles) {
    const std::filesystem::path path(folder);
    if (std::filesystem::exists(path) && (!std::filesystem::is_directory(path) || !std::filesystem::is_empty(path)))
        throw std::runtime_error(folder + ": exists and is not an empty folder");
    std::filesystem::create_directories(path);

    TreeMaker tree(folder, largeFiles == 0 ? 0 : std::max<std::uint64_t>(files / largeFiles, 1));
    const std::string huge = folder + "/huge";
    tree.addFolder(huge);
    const std::uint64_t others = std::max<std::uint64_t>(folders, 2) - 1;
    const std::uint64_t chain = std::min(longestChain, others / 2);
    std::vector<std::string> places = addSmallFolders(tree, folder, others - chain);
    addChain(tree, folder, chain, places);

    const std::uint64_t hugeFiles = files / 10;
    for (std::uint64_t index = 0; index < hugeFiles; ++index)
        tree.addFile(huge, index);
    for (std::uint64_t index = hugeFiles; index < files; ++index)
        tree.addFile(places[(index - hugeFiles) * places.size() / (files - hugeFiles)], index);
    return tree.figures();
}

} // namespace dm::bench
