#include "operations.h"

#include "core/operations.h"
#include "engine/cleaner.h"
#include "engine/identity.h"
#include "engine/scanner.h"
#include "large/search.h"
#include "measure.h"

#include <stdexcept>
#include <thread>

namespace dm::bench {

namespace {

const std::atomic<bool> neverCancelled = false;

constexpr UINT workDone = WM_APP;

/// Does the work in a thread of its own and what the first thread does meanwhile; gives the reports that came.
template <typename Work>
std::uint64_t runWorker(const Work &work) {
    const HWND window = operationHost().mainWindow;
    std::thread worker([&] {
        work();
        PostMessageW(window, workDone, 0, 0);
    });
    std::uint64_t reports = 0;
    MSG message;
    while (GetMessageW(&message, window, 0, 0) > 0 && message.message != workDone)
        reports += handleOperationMessage(message.message, message.lParam) ? 1 : 0;
    worker.join();
    return reports;
}

HWND makeMainWindow() {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.lpszClassName = W("DustmereBench");
    RegisterClassExW(&windowClass);
    return CreateWindowExW(0, windowClass.lpszClassName, W(""), 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
}

ScanResult scan(const WString &folder, const ProgressReport &report) {
    const Stopwatch stopwatch;
    PinnedPath pinned;
    if (!pinPath(pinned, folder))
        throw std::runtime_error("the folder cannot be scanned");
    ScanResult result;
    result.roots.push_back({pinned.finalPath, fileIndexOf(pinned.info), pinned.info.dwVolumeSerialNumber});
    const ScanTarget target{pinned.finalPath, CleanCategory::Temp, true};
    std::uint64_t met = 0;
    const std::uint64_t reports = runWorker([&] {
        scanFolder(pinned.finalPath, target, pinned.finalPath, result, neverCancelled, report, currentTime(), met, 0);
    });
    Line("operation-scan")
        .add("met", met)
        .add("entries", result.entries.size())
        .add("reports", reports)
        .print(stopwatch);
    return result;
}

void search(const WString &folder, const ProgressReport &report) {
    const Stopwatch stopwatch;
    large::LargeSearchResult result;
    const std::uint64_t reports =
        runWorker([&] { result = large::searchLargeFiles({.root = folder}, neverCancelled, report); });
    Line("operation-search")
        .add("files_checked", result.filesChecked)
        .add("entries", result.entries.size())
        .add("reports", reports)
        .print(stopwatch);
}

/// As a clean-up does it, which itself works on the fixed places alone.
void clean(const ScanResult &scanned, const ProgressReport &report) {
    const Stopwatch stopwatch;
    CleanResult result;
    const std::uint64_t reports = runWorker([&] {
        std::uint64_t done = 0;
        for (const FileEntry &entry : scanned.entries) {
            if (report)
                report(entry.path, done++, scanned.entries.size());
            deleteEntry(entry, scanned.roots.front(), true, neverCancelled, result, {});
        }
    });
    Line("operation-clean")
        .add("files_deleted", result.filesDeleted)
        .add("skipped", result.skipped)
        .add("errors", result.errors)
        .add("reports", reports)
        .print(stopwatch);
}

} // namespace

void measureOperations(const WString &folder, OperationChoice choice) {
    operationHost().mainWindow = makeMainWindow();
    const ProgressReport report = choice.reporting ? ProgressReport(reportProgress) : ProgressReport();
    const ScanResult scanned = scan(folder, report);
    if (!choice.scanAlone) {
        search(folder, report);
        clean(scanned, report);
    }
    DestroyWindow(operationHost().mainWindow);
}

} // namespace dm::bench
