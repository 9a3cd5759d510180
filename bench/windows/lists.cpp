// Measures what the secondary windows cost the user: sorting, opening a preview, scrolling a list. Each phase prints
// one line of JSON a round. Wants an empty home folder, and no screen.
#include "core/operations.h"
#include "measure.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"
#include "ui/canvas.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/large_files_window.h"
#include "windows/large_list.h"
#include "windows/main_window.h"
#include "windows/preview.h"

#include <QAbstractScrollArea>
#include <QScrollBar>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace dm::bench {
namespace {

constexpr std::size_t sortedFiles = 100'000;
constexpr std::size_t previewedFiles = 1'000'000;
constexpr int sortRounds = 9;
constexpr int previewRounds = 5;
constexpr int frames = 200;
constexpr int listOfFiles = 9206;

/// Ten folders deep, ten to a folder, with names that begin alike, as those of a collection do.
WString longPath(std::minstd_rand &random) {
    WString path = W("C:\\home\\user\\Documents");
    for (int depth = 0; depth < 10; ++depth)
        path += W("\\A collection of recordings ") + WString(1, static_cast<WChar>(W('0') + random() % 10));
    const std::string number = std::to_string(random());
    return path + W("\\Recording ") + WString(number.begin(), number.end()) + W(".mkv");
}

std::vector<large::LargeFileEntry> largeFiles() {
    std::minstd_rand random(1);
    std::vector<large::LargeFileEntry> entries(sortedFiles);
    for (large::LargeFileEntry &entry : entries) {
        entry.path = longPath(random);
        entry.size = static_cast<std::uint64_t>(random()) * random();
    }
    return entries;
}

double secondsOf(std::vector<std::uint64_t> order, const auto &sort) {
    const Stopwatch stopwatch;
    sort(order);
    return stopwatch.seconds();
}

void measureSort(const char *phase, const std::vector<large::LargeFileEntry> &entries, LargeColumn column,
                 const auto &comesBefore) {
    std::vector<std::uint64_t> shuffled(entries.size());
    std::iota(shuffled.begin(), shuffled.end(), 0);
    std::shuffle(shuffled.begin(), shuffled.end(), std::minstd_rand(2));
    for (int round = 0; round < sortRounds; ++round) {
        const double bare =
            secondsOf(shuffled, [&](auto &order) { std::sort(order.begin(), order.end(), comesBefore); });
        const double seconds = secondsOf(shuffled, [&](auto &order) { sortLargeRows(entries, {column, true}, order); });
        Line(phase).add("rows", entries.size()).addSeconds("bare_seconds", bare).print(seconds);
    }
}

void measureSorts() {
    const std::vector<large::LargeFileEntry> entries = largeFiles();
    measureSort("sort-path", entries, LargeColumn::Path,
                [&](auto a, auto b) { return entries[a].path < entries[b].path; });
    measureSort("sort-size", entries, LargeColumn::Size,
                [&](auto a, auto b) { return entries[a].size < entries[b].size; });
}

ScanResult someScan() {
    ScanResult scan;
    scan.entries.resize(previewedFiles);
    for (std::size_t file = 0; file < previewedFiles; ++file) {
        const std::string number = std::to_string(file);
        FileEntry &entry = scan.entries[file];
        entry.path = W("C:\\tmp\\a folder of files\\another folder\\file-") + WString(number.begin(), number.end());
        entry.rootPath = W("C:\\tmp");
    }
    return scan;
}

double secondsOfCopy(const std::vector<FileEntry> &entries) {
    const Stopwatch stopwatch;
    const std::vector<FileEntry> copy(entries.begin(), entries.end());
    return copy.size() == entries.size() ? stopwatch.seconds() : 0;
}

/// Until it has been painted.
double secondsOfOpening() {
    const Stopwatch stopwatch;
    openPreview();
    QCoreApplication::processEvents();
    const double seconds = stopwatch.seconds();
    DestroyWindow(previewWindows().back());
    return seconds;
}

void measurePreview() {
    operationState().scanResult = someScan();
    operationState().hasScanResult = true;
    for (int round = 0; round < previewRounds; ++round) {
        const double copy = secondsOfCopy(operationState().scanResult.entries);
        const double opening = secondsOfOpening();
        Line("preview").add("rows", previewedFiles).addSeconds("copy_seconds", copy).print(opening);
    }
    operationState().scanResult = {};
    operationState().hasScanResult = false;
}

/// A list that fills a screen of 1920 by 1080, a page further with each frame.
void measureScrolling() {
    openLargeFiles();
    HWND window = ui::mainView.largeFilesWindow;
    SetWindowPos(window, nullptr, 0, 0, 1920, 1080, SWP_NOZORDER);
    large::LargeSearchResult result;
    result.entries = largeFiles();
    takeSearchResult(window, std::move(result));
    HWND list = GetDlgItem(window, listOfFiles);
    auto *area = qobject_cast<QAbstractScrollArea *>(platform::paneOf(list)->widget);
    QCoreApplication::processEvents();
    std::vector<double> seconds;
    for (int frame = 0; frame < frames; ++frame) {
        const Stopwatch stopwatch;
        area->verticalScrollBar()->setValue(frame * area->verticalScrollBar()->pageStep());
        area->viewport()->repaint();
        seconds.push_back(stopwatch.seconds());
    }
    std::sort(seconds.begin(), seconds.end());
    Line("scroll")
        .add("width", static_cast<std::uint64_t>(area->viewport()->width()))
        .add("height", static_cast<std::uint64_t>(area->viewport()->height()))
        .addSeconds("slowest_seconds", seconds.back())
        .print(seconds[seconds.size() / 2]);
}

int measureWindows() {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const platform::WindowSystem system;
    const Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);
    measureSorts();
    if (!registerMainWindow() || createMainWindow({1300, 850}) == nullptr)
        return 1;
    ShowWindow(ui::mainView.window, SW_SHOW);
    QCoreApplication::processEvents();
    measurePreview();
    measureScrolling();
    requestExit(true);
    ui::releaseDrawing();
    ui::releaseTheme();
    Gdiplus::GdiplusShutdown(token);
    return 0;
}

} // namespace
} // namespace dm::bench

int main() {
    return dm::bench::measureWindows();
}
