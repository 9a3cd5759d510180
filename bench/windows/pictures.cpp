// Takes pictures of the preview, the history and the large-files window as the screen shows them, with contents as a
// person might have them, to be looked at. Wants a screen, and an empty home folder.
#include "core/operations.h"
#include "data/history.h"
#include "i18n/language.h"
#include "platform/linux/volumes.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"
#include "ui/canvas.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/camera.h"
#include "windows/history_window.h"
#include "windows/large_files_window.h"
#include "windows/main_window.h"
#include "windows/preview.h"

#include <QApplication>
#include <QWindow>

#include <cstdio>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace dm::bench {
namespace {

constexpr std::uint64_t megabyte = 1U << 20;
constexpr int listOfFiles = 9206;

std::string folder;

FileEntry entryOf(const WString &path, std::uint64_t size, CleanCategory category) {
    FileEntry entry;
    entry.path = path;
    entry.size = size;
    entry.category = category;
    return entry;
}

void giveScan() {
    constexpr auto temp = CleanCategory::Temp;
    constexpr auto browser = CleanCategory::Browser;
    const WString chrome = W("C:\\home\\anna\\.cache\\google-chrome\\Default\\Cache\\Cache_Data\\");
    const WString firefox = W("C:\\home\\anna\\.cache\\mozilla\\firefox\\k3v9x2qp.default-release\\cache2\\entries\\");
    ScanResult scan;
    scan.entries = {entryOf(W("C:\\tmp\\installer-8fb2\\payload.tar.zst"), 184'320'512, temp),
                    entryOf(W("C:\\tmp\\thumbnails\\holiday (2019).png"), 1'482'112, temp),
                    entryOf(W("C:\\tmp\\صور\\رحلة\\photo.jpg"), 4'812'000, temp),
                    entryOf(W("C:\\tmp\\notes\uF00Aof March.txt"), 812, temp),
                    entryOf(W("C:\\var\\tmp\\flatpak-cache-LQW1N2\\repo-7tYx\\objects\\0c\\"
                              "5dbd3adba63e2eac5f6ba4d1e4b2cd0b3ca4cba1.filez"),
                            73'400, temp)};
    for (int file = 0; file < 40; ++file) {
        const std::string number = std::to_string(100'000 + file * 7'919);
        const WString name(number.begin(), number.end());
        const auto size = static_cast<std::uint64_t>(file * 9'127 % 65'536 + 400) * (file % 7 == 0 ? 61 : 1);
        scan.entries.push_back(file < 22 ? entryOf(chrome + W("f_") + name, size, browser)
                                         : entryOf(firefox + W("8C1D90A7") + name, size, browser));
    }
    scan.recycleItems = 12;
    scan.recycleBytes = 913'000'000;
    operationState().scanResult = std::move(scan);
    operationState().hasScanResult = true;
}

large::LargeSearchResult someFiles() {
    const std::pair<const WChar *, std::uint64_t> files[] = {
        {W("Videos\\Family archive\\Summer by the lake, all clips (2019).mkv"), 9'420},
        {W("VirtualBox VMs\\Debian 12\\Debian 12.vdi"), 8'310},
        {W("Videos\\رحلات\\البحر الأحمر 2021.mp4"), 4'702},
        {W("Downloads\\debian-12.7.0-amd64-DVD-1.iso"), 3'787},
        {W("Music\\Recordings\\2023-11-04 concert, both sets.flac"), 2'260},
        {W("Backups\\phone\\2024-02-29\\backup.tar.zst"), 1'904},
        {W("Videos\\家族\\運動会.mov"), 1'630},
        {W("Projects\\atlas\\.git\\objects\\pack\\pack-5dbd3adba63e2eac5f6ba4d1e4b2cd0b3ca4cba1.pack"), 1'210},
        {W("Videos\\Lecture 12\uF00ATopology.webm"), 934},
        {W("Downloads\\map-tiles-europe.mbtiles"), 741},
        {W("Documents\\Архив\\Сканы 1998–2004.zip"), 512},
        {W("Pictures\\2022\\panorama.tiff"), 303},
        {W("Downloads\\ubuntu-24.04-minimal.img"), 268},
        {W("Mail\\archive.mbox"), 144},
        {W("Projects\\atlas\\build\\core.3117"), 131},
    };
    large::LargeSearchResult result;
    for (const auto &[name, megabytes] : files) {
        result.entries.emplace_back().path = WString(W("C:\\home\\anna\\")) + name;
        result.entries.back().size = megabytes * megabyte;
    }
    result.skipped = 31;
    result.errors = 2;
    return result;
}

void writeHistory() {
    std::int64_t time = 1'713'254'400; // a day in April 2024
    HistoryEvent scan;
    scan.kind = HistoryKind::Scan;
    scan.files = 2'318;
    scan.bytes = 1'204'300'000;
    scan.skipped = 41;
    HistoryEvent cleanup = scan;
    cleanup.kind = HistoryKind::Cleanup;
    cleanup.recycleEmptied = true;
    HistoryEvent search;
    search.kind = HistoryKind::LargeSearch;
    search.files = 15;
    search.errors = 2;
    HistoryEvent move;
    move.kind = HistoryKind::Recycle;
    move.files = 3;
    move.bytes = 5'120 * megabyte;
    HistoryEvent selfTest;
    selfTest.text = W("Самопроверка пройдена.");
    HistoryEvent cancelled = scan;
    cancelled.cancelled = true;
    std::ofstream log(platform::linuxPath(historyPath()));
    for (int day = 0; day < 8; ++day) {
        for (const HistoryEvent &event : {scan, cleanup, search, move, selfTest, cancelled})
            log << formatHistoryRecord(event, time += 3'671) << '\n';
        time += 86'400;
    }
}

void waitForScreen(HWND window) {
    const QWindow *shown = platform::paneOf(window)->widget->windowHandle();
    while (!shown->isExposed())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    settle();
}

void makeSmallest(HWND window) {
    MINMAXINFO limits = {};
    SendMessageW(window, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&limits));
    SetWindowPos(window, nullptr, 0, 0, limits.ptMinTrackSize.x, limits.ptMinTrackSize.y, SWP_NOZORDER);
}

/// One window in each look and language, at its usual and at its smallest size.
void takePictures(const std::string &name, const std::function<HWND()> &open) {
    for (const char *size : {"usual", "smallest"}) {
        HWND window = open();
        waitForScreen(window);
        if (size == std::string("smallest"))
            makeSmallest(window);
        for (const Look &look : looks) {
            for (const char *language : languages) {
                ui::mainView.settings.language = language;
                setLanguage(language);
                useLook(look);
                SendMessageW(window, WM_APP_REFRESH, 0, 0);
                takePicture(window, folder + '/' + name + '-' + size + '-' + look.name + '-' + language + ".png");
            }
        }
        DestroyWindow(window);
    }
}

HWND openFilledLargeFiles() {
    openLargeFiles();
    HWND window = ui::mainView.largeFilesWindow;
    takeSearchResult(window, someFiles());
    for (const WPARAM row : {2, 3, 8}) {
        LVITEMW item = {};
        item.state = item.stateMask = LVIS_SELECTED;
        SendMessageW(GetDlgItem(window, listOfFiles), LVM_SETITEMSTATE, row, reinterpret_cast<LPARAM>(&item));
    }
    return window;
}

int makePictures() {
    const Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);
    if (!registerMainWindow() || createMainWindow({1300, 850}) == nullptr)
        return 1;
    giveScan();
    writeHistory();
    operationState().drives = {{W("C:\\"), 182'000'000'000, 480'000'000'000}};
    takePictures("preview", [] {
        openPreview();
        return previewWindows().back();
    });
    takePictures("history", [] {
        openHistory();
        return historyWindows().back();
    });
    takePictures("large", openFilledLargeFiles);
    requestExit(true);
    ui::releaseDrawing();
    ui::releaseTheme();
    Gdiplus::GdiplusShutdown(token);
    return 0;
}

} // namespace
} // namespace dm::bench

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: dustmere_window_pictures FOLDER\n");
        return 2;
    }
    dm::bench::folder = argv[1];
    try {
        const dm::platform::WindowSystem system;
        return dm::bench::makePictures();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "dustmere_window_pictures: %s\n", error.what());
        return 1;
    }
}
