// Measures scans, clean-ups and searches on real folders, and texts. Each phase prints one line of JSON.
#include "engine/cleaner.h"
#include "engine/scanner.h"
#include "large/search.h"
#include "make_tree.h"
#include "measure.h"
#include "operations.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/volumes.h"
#include "recycle.h"
#include "texts.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <unistd.h>

namespace dm::bench {

namespace {

constexpr const char *usage =
    "usage: dustmere_bench scan FOLDER\n"
    "       dustmere_bench clean FOLDER [--hold FILE] [--retry]   deletes what the scan offers\n"
    "       dustmere_bench recycle FOLDER MIN_MB                  moves all large files to the Recycle Bin\n"
    "       dustmere_bench places                                 scans the fixed places\n"
    "       dustmere_bench search FOLDER MIN_MB [--top N]         prints the N largest too\n"
    "       dustmere_bench search FOLDER MIN_MB --cancel MS       cancels it then, and tells how long that took\n"
    "       dustmere_bench operations FOLDER [--scan] [--silent]  a scan, a search and a clean-up, with reports or "
    "without\n"
    "       dustmere_bench make-tree FOLDER DIRS FILES [LARGE]    FOLDER must be empty or missing\n"
    "       dustmere_bench history LANGUAGE                       renders 2 MiB of records\n"
    "       dustmere_bench tr                                     against a bare search of the table\n"
    "       dustmere_bench startup [--save|--nothing]             loads what --save has stored, in the data folder\n";

/// What the command line asks for that does not make sense.
struct UsageError {};

const std::atomic<bool> neverCancelled = false;

WString programPath(const std::string &folder) {
    const std::filesystem::path absolute = std::filesystem::absolute(folder).lexically_normal();
    std::string path = absolute.string();
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(path)))
        throw std::runtime_error(path + ": is no folder");
    return platform::drivePath(path);
}

void addScan(Line &line, const ScanResult &result) {
    line.add("roots", result.roots.size())
        .add("entries", result.entries.size())
        .add("bytes", result.bytesByCategory[0] + result.bytesByCategory[1])
        .add("skipped", result.skipped)
        .add("errors", result.errors);
}

ScanResult scan(const std::string &folder) {
    const WString root = programPath(folder);
    const Stopwatch stopwatch;
    ScanResult result = scanRoot(root, neverCancelled);
    if (result.roots.empty())
        throw std::runtime_error(folder +
                                 ": cannot be scanned (a link or mount on its way, a drive's root, or denied)");
    Line line("scan");
    addScan(line, result);
    line.print(stopwatch);
    return result;
}

void waitForFile(const std::string &path) {
    while (access(path.c_str(), F_OK) != 0)
        usleep(10'000);
}

void clean(const std::string &folder, const std::string &holdFile, bool retry) {
    const ScanResult scanned = scan(folder);
    if (!holdFile.empty())
        waitForFile(holdFile);
    const Stopwatch stopwatch;
    CleanResult result;
    for (const FileEntry &entry : scanned.entries)
        deleteEntry(entry, scanned.roots.front(), true, neverCancelled, result, {.skipLockedFiles = !retry});
    Line("clean")
        .add("entries", scanned.entries.size())
        .add("files_deleted", result.filesDeleted)
        .add("bytes", result.bytesFreed)
        .add("skipped", result.skipped)
        .add("errors", result.errors)
        .add("locked_skipped", result.lockedSkipped)
        .add("locked_errors", result.lockedErrors)
        .add("retries", result.retries)
        .addFlag("cancelled", result.cancelled)
        .print(stopwatch);
}

std::uint64_t countOf(const ScanResult &result, CleanCategory category) {
    std::uint64_t count = 0;
    for (const FileEntry &entry : result.entries)
        count += entry.category == category ? 1 : 0;
    return count;
}

void scanPlaces() {
    const Stopwatch stopwatch;
    const ScanResult result = scanAll(neverCancelled, {});
    Line line("places");
    addScan(line, result);
    line.add("temp_entries", countOf(result, CleanCategory::Temp))
        .add("temp_bytes", result.bytesByCategory[0])
        .add("browser_entries", countOf(result, CleanCategory::Browser))
        .add("browser_bytes", result.bytesByCategory[1])
        .add("recycle_items", result.recycleItems)
        .add("recycle_bytes", result.recycleBytes)
        .print(stopwatch);
}

void printLargest(std::vector<large::LargeFileEntry> entries, std::uint64_t top) {
    const auto end = entries.begin() + static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(top, entries.size()));
    std::partial_sort(entries.begin(), end, entries.end(), [](const auto &left, const auto &right) {
        return left.size != right.size ? left.size > right.size : left.path < right.path;
    });
    std::for_each(entries.begin(), end, [](const large::LargeFileEntry &entry) {
        std::printf("%llu %s\n", static_cast<unsigned long long>(entry.size), platform::linuxPath(entry.path).c_str());
    });
}

large::LargeSearchResult search(const std::string &folder, std::uint64_t megabytes,
                                const std::atomic<bool> &cancelFlag) {
    large::LargeSearchOptions options;
    options.root = programPath(folder);
    options.minBytes = megabytes << 20;
    large::LargeSearchResult result = large::searchLargeFiles(options, cancelFlag, {});
    if (result.root.empty())
        throw std::runtime_error(folder + ": cannot be searched, error " + std::to_string(result.lastError));
    return result;
}

void printSearch(const std::string &folder, std::uint64_t megabytes, std::uint64_t top) {
    const Stopwatch stopwatch;
    const large::LargeSearchResult result = search(folder, megabytes, neverCancelled);
    Line("search")
        .add("entries", result.entries.size())
        .add("bytes", result.totalBytes)
        .add("files_checked", result.filesChecked)
        .add("skipped", result.skipped)
        .add("errors", result.errors)
        .addFlag("limited", result.limited)
        .print(stopwatch);
    printLargest(result.entries, top);
}

void cancelSearch(const std::string &folder, std::uint64_t megabytes, std::uint64_t milliseconds) {
    std::atomic<bool> cancelFlag = false;
    std::atomic<double> cancelledAt = 0;
    const Stopwatch stopwatch;
    std::thread user([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        cancelledAt = stopwatch.seconds();
        cancelFlag = true;
    });
    const large::LargeSearchResult result = search(folder, megabytes, cancelFlag);
    const double endedAt = stopwatch.seconds();
    user.join();
    Line("cancel")
        .add("files_checked", result.filesChecked)
        .addFlag("cancelled", result.cancelled)
        .addSeconds("cancel_seconds", result.cancelled ? endedAt - cancelledAt : 0)
        .print(endedAt);
}

void printTree(const std::string &folder, std::uint64_t folders, std::uint64_t files, std::uint64_t largeFiles) {
    const Stopwatch stopwatch;
    const TreeFigures tree = makeTree(folder, folders, files, largeFiles);
    Line("make-tree")
        .add("folders", tree.folders)
        .add("offered", tree.offered)
        .add("offered_bytes", tree.offeredBytes)
        .add("not_offered", tree.symbolicLinks + tree.hardLinkedNames + tree.readOnly + tree.fresh)
        .add("symbolic_links", tree.symbolicLinks)
        .add("hard_linked_names", tree.hardLinkedNames)
        .add("read_only", tree.readOnly)
        .add("fresh", tree.fresh)
        .add("large", tree.large)
        .print(stopwatch);
}

std::uint64_t numberOf(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw UsageError();
    return number;
}

void cleanAsTold(const std::vector<std::string> &arguments) {
    std::string holdFile;
    bool retry = false;
    for (std::size_t index = 2; index < arguments.size(); ++index) {
        if (arguments[index] == "--retry")
            retry = true;
        else if (arguments[index] == "--hold" && index + 1 < arguments.size())
            holdFile = arguments[++index];
        else
            throw UsageError();
    }
    clean(arguments[1], holdFile, retry);
}

void operateAsTold(const std::vector<std::string> &arguments) {
    OperationChoice choice;
    for (std::size_t index = 2; index < arguments.size(); ++index) {
        if (arguments[index] == "--scan")
            choice.scanAlone = true;
        else if (arguments[index] == "--silent")
            choice.reporting = false;
        else
            throw UsageError();
    }
    measureOperations(programPath(arguments[1]), choice);
}

void startAsTold(const std::vector<std::string> &arguments) {
    const std::string option = arguments.size() == 2 ? arguments[1] : "";
    if (arguments.size() == 1)
        measureStart();
    else if (option == "--save")
        saveStartSettings();
    else if (option != "--nothing")
        throw UsageError();
}

void run(const std::vector<std::string> &arguments) {
    const std::string command = arguments.empty() ? "" : arguments[0];
    if (command == "scan" && arguments.size() == 2)
        scan(arguments[1]);
    else if (command == "clean" && arguments.size() >= 2)
        cleanAsTold(arguments);
    else if (command == "recycle" && arguments.size() == 3)
        recycleLargeFiles(programPath(arguments[1]), numberOf(arguments[2]));
    else if (command == "places" && arguments.size() == 1)
        scanPlaces();
    else if (command == "search" && arguments.size() == 3)
        printSearch(arguments[1], numberOf(arguments[2]), 0);
    else if (command == "search" && arguments.size() == 5 && arguments[3] == "--top")
        printSearch(arguments[1], numberOf(arguments[2]), numberOf(arguments[4]));
    else if (command == "search" && arguments.size() == 5 && arguments[3] == "--cancel")
        cancelSearch(arguments[1], numberOf(arguments[2]), numberOf(arguments[4]));
    else if (command == "operations" && arguments.size() >= 2)
        operateAsTold(arguments);
    else if (command == "make-tree" && (arguments.size() == 4 || arguments.size() == 5))
        printTree(arguments[1], numberOf(arguments[2]), numberOf(arguments[3]),
                  arguments.size() == 5 ? numberOf(arguments[4]) : 0);
    else if (command == "history" && arguments.size() == 2)
        measureHistory(arguments[1]);
    else if (command == "tr" && arguments.size() == 1)
        measureTr();
    else if (command == "startup")
        startAsTold(arguments);
    else
        throw UsageError();
}

int runToExitCode(const std::vector<std::string> &arguments) {
    try {
        run(arguments);
        return 0;
    } catch (const UsageError &) {
        std::fputs(usage, stderr);
        return 2;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "dustmere_bench: %s\n", error.what());
        return 1;
    }
}

} // namespace

} // namespace dm::bench

int main(int argc, char **argv) {
    dm::platform::recoverPrivateFolders();
    const int code = dm::bench::runToExitCode({argv + 1, argv + argc});
    dm::platform::removePrivateFolders();
    return code;
}
