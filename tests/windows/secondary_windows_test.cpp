// The preview, the history, the large-files window and the widget beside a real main window, off screen.
#include "core/operations.h"
#include "data/history.h"
#include "i18n/language.h"
#include "platform/places.h"
#include "ui/canvas.h"
#include "ui/controls.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/history_window.h"
#include "windows/large_files_window.h"
#include "windows/main_window.h"
#include "windows/preview.h"
#include "windows/widget.h"

#include "../platform/window/windows.h"
#include "scratch.h"
#include "trashed.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QTableView>
#include <QTimer>

namespace dm {
namespace {

namespace fs = std::filesystem;
using test::Scratch;
using test::textIn;

constexpr int listOfPreview = 1;
constexpr int editOfHistory = 1;
constexpr int folderField = 9201;
constexpr int sizeField = 9203;
constexpr int searchButton = 9204;
constexpr int cancelButton = 9205;
constexpr int listOfFiles = 9206;
constexpr int moveButton = 9207;
constexpr int openButton = 9208;

class SecondaryWindows : public test::WindowTest {
protected:
    void SetUp() override {
        const Gdiplus::GdiplusStartupInput input;
        Gdiplus::GdiplusStartup(&gdiplus_, &input, nullptr);
        ASSERT_TRUE(registerMainWindow());
        ASSERT_NE(createMainWindow({760, 700}), nullptr);
        setLanguage("en");
        show(ui::mainView.window);
    }
    void TearDown() override {
        requestExit(true);
        waitUntil([] { return !IsWindow(ui::mainView.window); });
        EXPECT_TRUE(previewWindows().empty());
        EXPECT_TRUE(historyWindows().empty());
        EXPECT_EQ(ui::mainView.largeFilesWindow, nullptr);
        EXPECT_EQ(widgetWindow(), nullptr);
        ui::mainView = {};
        ui::releaseDrawing();
        ui::releaseTheme();
        Gdiplus::GdiplusShutdown(gdiplus_);
    }

    /// Runs the loop, which every condition here comes true in.
    static void waitUntil(const std::function<bool()> &condition) {
        MSG message;
        while (!condition()) {
            QCoreApplication::processEvents();
            if (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageW(&message);
        }
    }
    /// Presses a button of the next message box, or Enter for the default one.
    void answer(const QString &button = {}) {
        auto *timer = new QTimer(qApp);
        QObject::connect(timer, &QTimer::timeout, timer, [this, timer, button] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (box == nullptr)
                return;
            timer->deleteLater();
            timer->stop();
            said_ = platform::wideOf(box->text());
            if (button.isEmpty()) {
                QTest::keyClick(box, Qt::Key_Return);
                return;
            }
            for (QAbstractButton *each : box->buttons()) {
                if (each->text() == button)
                    each->click();
            }
        });
        timer->start(1);
    }
    WString takeSaid() { return std::exchange(said_, {}); }

    static int rowsIn(HWND list) { return qobject_cast<QTableView *>(test::widgetOf(list))->model()->rowCount(); }
    static WString cell(HWND window, HWND list, int row, int column) {
        NMLVDISPINFOW info = {};
        info.hdr.hwndFrom = list;
        info.hdr.code = LVN_GETDISPINFOW;
        info.item.mask = LVIF_TEXT;
        info.item.iItem = row;
        info.item.iSubItem = column;
        SendMessageW(window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&info));
        return info.item.pszText != nullptr ? info.item.pszText : WString();
    }
    static void select(HWND list, int row) {
        LVITEMW item = {};
        item.state = item.stateMask = LVIS_SELECTED;
        SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    }
    static std::vector<WString> selectedCells(HWND window, HWND list) {
        std::vector<WString> cells;
        for (LRESULT row = -1;
             (row = SendMessageW(list, LVM_GETNEXTITEM, static_cast<WPARAM>(row), LVNI_SELECTED)) >= 0;)
            cells.push_back(cell(window, list, static_cast<int>(row), 0));
        return cells;
    }
    static void clickColumn(HWND window, HWND list, int column) {
        NMLISTVIEW click = {};
        click.hdr.hwndFrom = list;
        click.hdr.code = LVN_COLUMNCLICK;
        click.iSubItem = column;
        SendMessageW(window, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&click));
    }
    static WString columnTitle(HWND list, int column) {
        WString text(64, 0);
        HDITEMW item = {};
        item.mask = HDI_TEXT;
        item.pszText = text.data();
        item.cchTextMax = 64;
        SendMessageW(reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0)), HDM_GETITEMW,
                     static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&item));
        return item.pszText;
    }
    static void press(HWND window, int id) {
        SendMessageW(window, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(window, id)));
    }

private:
    ULONG_PTR gdiplus_ = 0;
    WString said_;
};

void giveScan(const std::vector<WString> &paths, std::uint64_t recycleItems) {
    ScanResult scan;
    for (const WString &path : paths) {
        scan.entries.emplace_back().path = path;
        scan.entries.back().size = 1024;
    }
    scan.recycleItems = recycleItems;
    operationState().scanResult = std::move(scan);
    operationState().hasScanResult = true;
}

TEST_F(SecondaryWindows, APreviewKeepsWhatItWasOpenedWith) {
    answer();
    openPreview();
    EXPECT_EQ(takeSaid(), W("Run a scan first"));
    ASSERT_TRUE(previewWindows().empty());

    giveScan({W("C:\\tmp\\one"), W("C:\\tmp\\two")}, 0);
    openPreview();
    giveScan({W("C:\\tmp\\three")}, 5);
    openPreview();
    ASSERT_EQ(previewWindows().size(), 2U);
    const HWND first = previewWindows()[0];
    const HWND second = previewWindows()[1];
    operationState().scanResult = {};
    operationState().hasScanResult = false;

    setLanguage("de");
    for (HWND window : {first, second})
        SendMessageW(window, WM_APP_REFRESH, 0, 0);
    EXPECT_EQ(textIn(first), tr(W("Dustmere — просмотр файлов")));
    const HWND list = GetDlgItem(first, listOfPreview);
    EXPECT_EQ(rowsIn(list), 2);
    EXPECT_EQ(cell(first, list, 1, 2), W("\u200E/tmp/two"));
    EXPECT_EQ(cell(first, list, 2, 2), W(""));
    EXPECT_EQ(rowsIn(GetDlgItem(second, listOfPreview)), 2);
    EXPECT_EQ(cell(second, GetDlgItem(second, listOfPreview), 1, 0), W("Papierkorb"));
    EXPECT_EQ(columnTitle(list, 1), W("Größe"));

    setLanguage("ar");
    SendMessageW(first, WM_APP_REFRESH, 0, 0);
    EXPECT_NE(GetWindowLongPtrW(list, GWL_EXSTYLE) & WS_EX_LAYOUTRTL, 0);
    setLanguage("en");
    SendMessageW(first, WM_APP_REFRESH, 0, 0);
    EXPECT_EQ(GetWindowLongPtrW(list, GWL_EXSTYLE) & WS_EX_LAYOUTRTL, 0);

    SendMessageW(first, WM_CLOSE, 0, 0);
    EXPECT_EQ(previewWindows(), std::vector<HWND>{second});
}

TEST_F(SecondaryWindows, APreviewFollowsTheScaleOfItsScreen) {
    giveScan({W("C:\\tmp\\one")}, 0);
    openPreview();
    const HWND window = previewWindows()[0];
    const HWND list = GetDlgItem(window, listOfPreview);
    EXPECT_EQ(SendMessageW(list, LVM_GETCOLUMNWIDTH, 1, 0), 115);
    RECT suggested = {0, 0, 5000, 4000}; // more than the screen has
    SendMessageW(window, WM_DPICHANGED, MAKEWPARAM(192, 192), reinterpret_cast<LPARAM>(&suggested));
    EXPECT_EQ(SendMessageW(list, LVM_GETCOLUMNWIDTH, 1, 0), 230);
    RECT place = {};
    GetWindowRect(list, &place);
    MapWindowPoints(nullptr, window, reinterpret_cast<POINT *>(&place), 2);
    EXPECT_EQ(place.left, 388);
    EXPECT_EQ(place.top, 258);
    GetWindowRect(window, &suggested);
    EXPECT_EQ(suggested.right - suggested.left, 800); // the whole screen, where its least size is larger
    MINMAXINFO least = {};
    SendMessageW(window, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&least));
    EXPECT_EQ(least.ptMinTrackSize.x, 800);
    EXPECT_EQ(least.ptMinTrackSize.y, 720);
}

TEST_F(SecondaryWindows, TheHistoryFollowsTheLogAndStaysWhereTheReaderIs) {
    fs::remove(platform::linuxPath(historyPath()));
    openHistory();
    ASSERT_EQ(historyWindows().size(), 1U);
    const HWND window = historyWindows()[0];
    const HWND edit = GetDlgItem(window, editOfHistory);
    EXPECT_EQ(textIn(edit), W("No activity yet"));
    DestroyWindow(window);

    for (int record = 0; record < 200; ++record)
        appendHistoryMessage(W("Очистка отменена."), W(""));
    openHistory();
    openHistory();
    ASSERT_EQ(historyWindows().size(), 1U);
    const HWND reopened = historyWindows()[0];
    const HWND text = GetDlgItem(reopened, editOfHistory);
    EXPECT_GT(SendMessageW(text, EM_GETFIRSTVISIBLELINE, 0, 0), 100) << "the newest are in view";

    SendMessageW(text, EM_SETSEL, 40, 60);
    SendMessageW(text, EM_LINESCROLL, 0, -1000);
    SendMessageW(text, EM_LINESCROLL, 0, 7);
    const auto place = [text] {
        DWORD start = 0;
        DWORD end = 0;
        SendMessageW(text, EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
        return std::tuple(start, end, SendMessageW(text, EM_GETFIRSTVISIBLELINE, 0, 0));
    };
    EXPECT_EQ(place(), std::tuple(40, 60, 7));
    refreshHistoryWindows();
    EXPECT_EQ(place(), std::tuple(40, 60, 7));
    const std::size_t before = textIn(text).size();
    appendHistoryMessage(W("Самопроверка пройдена."), W(""));
    refreshHistoryWindows();
    EXPECT_GT(textIn(text).size(), before);
    EXPECT_EQ(place(), std::tuple(40, 60, 7));

    const std::string log = platform::linuxPath(historyPath());
    fs::remove(log);
    refreshHistoryWindows();
    EXPECT_EQ(textIn(text), W("No activity yet"));
    fs::create_directory(log);
    refreshHistoryWindows();
    EXPECT_EQ(textIn(text), W("History file unavailable"));
    fs::remove(log);
    std::ofstream(log) << historyMarker << "{\"v\":1,\xFF\nno record";
    refreshHistoryWindows();
    EXPECT_EQ(textIn(text), W("@DM-HISTORY-1\t{\"v\":1,\uFFFD\r\nno record"));
    SendMessageW(reopened, WM_KEYDOWN, VK_ESCAPE, 0);
    EXPECT_TRUE(historyWindows().empty());
}

TEST_F(SecondaryWindows, TheHistoryStaysWhereTheReaderIsInALogOfWhichOnlyTheEndIsShown) {
    const std::string log = platform::linuxPath(historyPath());
    {
        std::ofstream file(log);
        for (int line = 100'000; line < 200'000; ++line)
            file << line << ": a line as an old version wrote it\n";
    }
    openHistory();
    const HWND text = GetDlgItem(historyWindows()[0], editOfHistory);
    SendMessageW(text, EM_LINESCROLL, 0, -1000);
    SendMessageW(text, EM_SETSEL, 400'000, 400'008);
    const auto place = [text] {
        DWORD start = 0;
        DWORD end = 0;
        SendMessageW(text, EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
        const WString all = textIn(text);
        const auto top = static_cast<std::size_t>(SendMessageW(text, EM_GETFIRSTVISIBLELINE, 0, 0));
        return std::pair(all.substr(start, end - start), all.substr(top * 43, 42));
    };
    const auto before = place();
    EXPECT_EQ(before.second.substr(6), W(": a line as an old version wrote it\r"));
    for (int record = 0; record < 30; ++record)
        appendHistoryMessage(W("Очистка отменена."), W(""));
    refreshHistoryWindows();
    EXPECT_EQ(place(), before);
}

class LargeFiles : public SecondaryWindows {
protected:
    Scratch scratch;
    HWND window = nullptr;
    HWND list = nullptr;

    void SetUp() override {
        SecondaryWindows::SetUp();
        openLargeFiles();
        window = ui::mainView.largeFilesWindow;
        ASSERT_NE(window, nullptr);
        list = GetDlgItem(window, listOfFiles);
        for (const auto &[name, megabytes] : {std::pair("b", 3), {"A", 2}, {"line\nfeed", 1}, {"\xFF", 4}})
            fs::resize_file(scratch.file(name), static_cast<std::uintmax_t>(megabytes) << 20);
        SetWindowTextW(GetDlgItem(window, folderField), shownPath(scratch.wide()).c_str());
        SetWindowTextW(GetDlgItem(window, sizeField), W("1"));
    }
    void search() {
        press(window, searchButton);
        EXPECT_TRUE(operationState().busy);
        waitUntil([] { return !operationState().busy; });
    }
    WString shown(const WChar *name) const { return WString(W("\u200E")) + shownPath(scratch.wide()) + W("/") + name; }
    std::vector<WString> paths() const {
        std::vector<WString> cells;
        for (int row = 0; row < rowsIn(list); ++row)
            cells.push_back(cell(window, list, row, 0));
        return cells;
    }
    bool isEnabled(int id) const { return IsWindowEnabled(GetDlgItem(window, id)) != FALSE; }
};

TEST_F(LargeFiles, RefusesASearchWithoutItsInput) {
    const HWND size = GetDlgItem(window, sizeField);
    SetWindowTextW(GetDlgItem(window, folderField), W(""));
    for (const WChar *text : {W(""), W("0"), W("1048577")}) {
        SetWindowTextW(size, text);
        answer();
        press(window, searchButton);
        EXPECT_EQ(takeSaid(), W("Enter a minimum size from 1 to 1048576 MB."));
    }
    SetWindowTextW(size, W("1048576"));
    answer();
    press(window, searchButton);
    EXPECT_EQ(takeSaid(), W("Choose a folder or local drive to search."));
    EXPECT_FALSE(operationState().busy);
}

TEST_F(LargeFiles, SearchesAndSortsWithTheSelectionKept) {
    search();
    const std::vector<WString> bySize = {shown(W("\uFFFD")), shown(W("b")), shown(W("A")), shown(W("line\u240Afeed"))};
    EXPECT_EQ(paths(), bySize);
    EXPECT_EQ(cell(window, list, 0, 1), W("4.0 MB"));
    EXPECT_FALSE(isEnabled(moveButton));
    EXPECT_FALSE(isEnabled(openButton));
    select(list, 1);
    select(list, 3);
    EXPECT_TRUE(isEnabled(moveButton));
    EXPECT_TRUE(isEnabled(openButton));

    clickColumn(window, list, 1);
    EXPECT_EQ(paths(), std::vector<WString>(bySize.rbegin(), bySize.rend()));
    EXPECT_EQ(columnTitle(list, 1), W("Size ↑"));
    clickColumn(window, list, 0);
    EXPECT_EQ(paths(), (std::vector<WString>{bySize[2], bySize[1], bySize[3], bySize[0]}));
    EXPECT_EQ(columnTitle(list, 0), W("Full path ↑"));
    EXPECT_EQ(columnTitle(list, 1), W("Size"));
    EXPECT_EQ(selectedCells(window, list), (std::vector<WString>{bySize[1], bySize[3]}));
}

TEST_F(LargeFiles, MovesWhatWasConfirmed) {
    search();
    select(list, 0);
    select(list, 3);
    answer(); // the default is no
    press(window, moveButton);
    EXPECT_EQ(takeSaid(),
              W("Move selected files to Recycle Bin?\n\nSelected files: 2 · 5.0 MB\n\nFiles can be restored "
                "from the system Recycle Bin. Permanent deletion is not used."));
    EXPECT_FALSE(operationState().busy);

    const auto moves = [&] {
        answer("Yes");
        press(window, moveButton);
        ASSERT_TRUE(operationState().busy);
        EXPECT_FALSE(IsWindowEnabled(list));
        answer();
        waitUntil([] { return !operationState().busy && operationState().modalDepth == 0; });
    };
    const std::map<std::string, std::string> trashedBefore = test::trashedIn(test::homeTrash());
    moves();
    if (takeSaid().find(W("Moved to Recycle Bin: 2 · 5.0 MB")) == WString::npos)
        GTEST_SKIP() << "Nothing can be moved from the folder for temporary files.";
    EXPECT_EQ(paths(), (std::vector<WString>{shown(W("b")), shown(W("A"))}));
    EXPECT_FALSE(fs::exists(scratch.path("\xFF")));
    EXPECT_EQ(test::trashedIn(test::homeTrash()).size(), trashedBefore.size() + 2);

    // One that has changed since is kept, and stays selected.
    fs::resize_file(scratch.path("b"), 5 << 20);
    select(list, 0);
    select(list, 1);
    moves();
    EXPECT_EQ(takeSaid(),
              W("Moved to Recycle Bin: 1 · 2.0 MB\nSkipped: 1 · Errors: 0\nUnavailable or changed files were "
                "kept."));
    EXPECT_EQ(selectedCells(window, list), std::vector<WString>{shown(W("b"))});
}

TEST_F(LargeFiles, ClosesAfterItsOwnOperation) {
    press(window, searchButton);
    ASSERT_TRUE(operationState().busy);
    EXPECT_TRUE(isEnabled(cancelButton));
    EXPECT_FALSE(isEnabled(searchButton));
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_TRUE(IsWindow(window));
    EXPECT_TRUE(operationState().cancelFlag);
    waitUntil([] { return !operationState().busy; });
    EXPECT_FALSE(IsWindow(window));
    openLargeFiles();
    EXPECT_EQ(rowsIn(GetDlgItem(ui::mainView.largeFilesWindow, listOfFiles)), 0);
}

class Widget : public SecondaryWindows {
protected:
    void SetUp() override {
        SecondaryWindows::SetUp();
        ui::mainView.settings.widgetOpacity = 20;
        ui::mainView.settings.widgetEnabled = true;
        syncWidget();
        ASSERT_NE(widgetWindow(), nullptr);
        QCoreApplication::processEvents();
        refreshWidget();
    }
    static const QImage &layer() { return platform::paneOf(widgetWindow())->layer; }
};

TEST_F(Widget, ShowsItsShapeThroughItsOpacity) {
    ASSERT_EQ(layer().width(), 360);
    EXPECT_EQ(layer().pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(layer().pixelColor(180, 60).alpha(), 51);
    RECT place = {};
    GetWindowRect(widgetWindow(), &place);
    const auto hit = [&place](int x, int y) {
        return SendMessageW(widgetWindow(), WM_NCHITTEST, 0, MAKELPARAM(place.left + x, place.top + y));
    };
    EXPECT_EQ(hit(0, 0), HTTRANSPARENT);
    EXPECT_EQ(hit(180, 50), HTCAPTION);
    EXPECT_EQ(hit(180, 150), HTCLIENT);
    ui::mainView.settings.widgetOpacity = 100;
    refreshWidget();
    EXPECT_EQ(layer().pixelColor(180, 60).alpha(), 255);
}

TEST_F(Widget, ScrollsThroughMoreDrivesThanItHasRoomFor) {
    operationState().drives.assign(9, {W("C:\\"), 25, 100});
    refreshWidget();
    const int rows = (layer().height() - 352) / 52;
    ASSERT_EQ(layer().height(), 352 + 52 * rows);
    ASSERT_GE(rows, 5);
    const QImage top = layer().copy();
    const auto turn = [](int delta) {
        SendMessageW(widgetWindow(), WM_MOUSEWHEEL, MAKEWPARAM(0, delta), 0);
        UpdateWindow(widgetWindow());
    };
    for (int step = 0; step < 4; ++step)
        turn(-WHEEL_DELTA);
    const QImage bottom = layer().copy();
    EXPECT_NE(bottom, top);
    turn(-WHEEL_DELTA);
    EXPECT_EQ(layer(), bottom);
    for (int step = 0; step < 5; ++step)
        turn(WHEEL_DELTA);
    EXPECT_EQ(layer(), top);
}

TEST_F(Widget, KeepsItsPlaceWithinTheScreenAndGoesWhenItIsHidden) {
    SetWindowPos(widgetWindow(), nullptr, -500, 3000, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    SendMessageW(widgetWindow(), WM_EXITSIZEMOVE, 0, 0);
    EXPECT_TRUE(ui::mainView.settings.widgetPositionSaved);
    EXPECT_EQ(ui::mainView.settings.widgetX, 8);
    EXPECT_EQ(ui::mainView.settings.widgetY, 800 - 8 - layer().height());
    EXPECT_EQ(loadSettings(), ui::mainView.settings);

    press(widgetWindow(), 9102);
    EXPECT_EQ(widgetWindow(), nullptr);
    EXPECT_FALSE(loadSettings().widgetEnabled);
    refreshWidget();
    ui::mainView.settings.widgetEnabled = true;
    syncWidget();
    RECT place = {};
    GetWindowRect(widgetWindow(), &place);
    EXPECT_EQ(place.left, 8);
}

} // namespace
} // namespace dm
