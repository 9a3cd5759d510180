// Takes pictures of the main window's pages and of the widget, with contents as a person might have them, to be looked
// at. Wants a screen of no one's, whose dots per inch are the scale, and an empty home folder. Scans nothing.
#include "core/operations.h"
#include "engine/drives.h"
#include "i18n/language.h"
#include "platform/linux/window/application.h"
#include "ui/canvas.h"
#include "ui/controls.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/camera.h"
#include "windows/main_window.h"
#include "windows/widget.h"

#include <QApplication>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace dm::bench {
namespace {

using ui::mainView;

constexpr std::uint64_t megabyte = 1U << 20;
constexpr std::uint64_t gigabyte = 1U << 30;

std::string folder;

/// What the program is at.
enum class Doing { Nothing, Holding, Cleaning };

struct Page {
    const char *name;
    int command;
    Doing doing;
};
constexpr Page pages[] = {
    {"cleanup", ui::id::cleanupPage, Doing::Holding},  {"start", ui::id::cleanupPage, Doing::Nothing},
    {"working", ui::id::cleanupPage, Doing::Cleaning}, {"disk", ui::id::diskPage, Doing::Holding},
    {"help", ui::id::helpPage, Doing::Holding},        {"settings", ui::id::settingsPage, Doing::Holding}};

void press(int id) {
    SendMessageW(mainView.window, WM_COMMAND, static_cast<WPARAM>(id), 0);
}

ScanResult someResult() {
    ScanResult scan;
    scan.entries.resize(2'306);
    scan.bytesByCategory = {1'482 * megabyte, 3'316 * megabyte};
    scan.recycleBytes = 913 * megabyte;
    scan.recycleItems = 12;
    scan.skipped = 41;
    scan.errors = 2;
    return scan;
}

void become(Doing doing) {
    OperationState &state = operationState();
    state.hasScanResult = doing != Doing::Nothing;
    state.scanResult = state.hasScanResult ? someResult() : ScanResult{};
    state.summaryKind = state.hasScanResult ? SummaryKind::Scan : SummaryKind::Plain;
    state.lastSkipped = state.scanResult.skipped;
    state.lastErrors = state.scanResult.errors;
    state.lastScanTime = state.hasScanResult ? 1'713'254'400 : 0; // in April 2024
    state.resultLine = W("");
    state.lastScanLine = W("");
    rebuildResultLines();
    state.busy = doing == Doing::Cleaning;
    if (state.busy)
        SendMessageW(
            mainView.window, WM_APP_PROGRESS, 0,
            reinterpret_cast<LPARAM>(new ProgressRecord{
                W("C:\\home\\anna\\.cache\\mozilla\\firefox\\k3v9x2qp.default-release\\cache2\\entries\\8C1D90A7F03B"),
                812, 2'306}));
    state.progressShown = 812.0F / 2'306;
    mainView.selection = {.temp = true, .browser = true, .recycleBin = false};
    state.drives = {{W("C:\\"), 182 * gigabyte, 480 * gigabyte},
                    {W("/home"), 61 * gigabyte, 931 * gigabyte},
                    {W("/media/anna/Backup 2024"), 1'420 * gigabyte, 1'863 * gigabyte}};
}

void useLanguage(std::string_view code) {
    const std::vector<LanguageChoice> &all = languageList();
    const auto found =
        std::find_if(all.begin(), all.end(), [code](const LanguageChoice &choice) { return choice.code == code; });
    HWND list = ui::mainControl(ui::id::language);
    SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(found - all.begin()), 0);
    SendMessageW(mainView.window, WM_COMMAND, MAKEWPARAM(ui::id::language, CBN_SELCHANGE),
                 reinterpret_cast<LPARAM>(list));
}

void takePage(const Page &page, const std::string &name) {
    press(page.command);
    become(page.doing);
    ui::layoutMainWindow();
    takePicture(mainView.window, folder + '/' + page.name + '-' + name + ".png");
}

void takeWidget(Doing doing, const std::string &name) {
    become(doing);
    ui::layoutMainWindow();
    takePicture(widgetWindow(), folder + '/' + name + ".png");
}

void takeAllPages(const std::string &name) {
    for (const Page &page : pages)
        takePage(page, name);
}

void setClientSize(int width, int height) {
    SetWindowPos(mainView.window, nullptr, 0, 0, width, height, SWP_NOZORDER);
    settle();
}

void takeLooksAndLanguages(const std::string &size) {
    for (const char *language : languages) {
        useLanguage(language);
        for (const Look &look : looks) {
            useLook(look);
            const std::string name = size + '-' + look.name + '-' + language;
            takeAllPages(name);
            takeWidget(Doing::Holding, "widget-" + name);
            takeWidget(Doing::Nothing, "widgetstart-" + name);
            takeWidget(Doing::Cleaning, "widgetworking-" + name);
        }
    }
}

void takeAccents(const std::string &size) {
    useLanguage("en");
    for (int id = ui::id::firstAccent + 1; id <= ui::id::lastAccent; ++id) {
        for (const Look &look : {looks[0], looks[1]}) {
            useLook(look);
            press(id);
            takeAllPages(size + '-' + look.name + '-' + std::string(ui::accentOf(id).setting));
        }
    }
    press(ui::id::firstAccent);
}

void makePictures() {
    const Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);
    if (!registerMainWindow() || createMainWindow({1300, 850}) == nullptr)
        throw std::runtime_error("there is no main window");
    ShowWindow(mainView.window, SW_SHOWNORMAL);
    mainView.settings.widgetEnabled = true;
    syncWidget();
    settle();
    setClientSize(static_cast<int>(1300 * mainView.dpiScale), static_cast<int>(850 * mainView.dpiScale));
    takeLooksAndLanguages("usual");
    takeAccents("usual");
    setClientSize(900, 640);
    takeLooksAndLanguages("smallest");
    requestExit(true);
    ui::releaseDrawing();
    ui::releaseTheme();
    Gdiplus::GdiplusShutdown(token);
}

} // namespace
} // namespace dm::bench

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: dustmere_main_pictures FOLDER\n");
        return 2;
    }
    dm::bench::folder = argv[1];
    try {
        const dm::platform::WindowSystem system;
        dm::bench::makePictures();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "dustmere_main_pictures: %s\n", error.what());
        return 1;
    }
    return 0;
}
