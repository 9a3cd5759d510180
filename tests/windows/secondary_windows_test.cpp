// The preview, the history, the large-files window and the widget beside a real main window, off screen.
#include "core/com.h"
#include "core/operations.h"
#include "data/history.h"
#include "i18n/language.h"
#include "platform/places.h"
#include "ui/canvas.h"
#include "ui/controls.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/history_window.h"
#include "windows/large_files_data.h"
#include "windows/large_files_window.h"
#include "windows/main_window.h"
#include "windows/preview.h"
#include "windows/widget.h"

#include "../platform/window/bus.h"
#include "../platform/window/windows.h"
#include "scratch.h"
#include "trashed.h"

#include <QAbstractButton>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QFileDialog>
#include <QHeaderView>
#include <QMessageBox>
#include <QTableView>

namespace dm {
namespace {

namespace fs = std::filesystem;
using test::Scratch;
using test::textIn;

constexpr int onlyControl = 1; // of the preview and the history

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
        test::whenOpen<QMessageBox>([this, button](QMessageBox &box) {
            said_ = platform::wideOf(box.text());
            if (button.isEmpty()) {
                QTest::keyClick(&box, Qt::Key_Return);
                return;
            }
            for (QAbstractButton *each : box.buttons()) {
                if (each->text() == button)
                    each->click();
            }
        });
    }
    WString takeSaid() { return std::exchange(said_, {}); }

    static QTableView &table(HWND list) { return *qobject_cast<QTableView *>(test::widgetOf(list)); }
    static int rowsIn(HWND list) { return table(list).model()->rowCount(); }
    static WString cell(HWND list, int row, int column) {
        return platform::wideOf(table(list).model()->index(row, column).data().toString());
    }
    static WString columnTitle(HWND list, int column) {
        return platform::wideOf(table(list).model()->headerData(column, Qt::Horizontal).toString());
    }
    static void clickColumn(HWND list, int column) { emit table(list).horizontalHeader()->sectionClicked(column); }
    static void select(HWND list, int row) {
        LVITEMW item = {};
        item.state = item.stateMask = LVIS_SELECTED;
        SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    }
    static std::vector<WString> selectedCells(HWND list) {
        std::vector<WString> cells;
        for (LRESULT row = -1;
             (row = SendMessageW(list, LVM_GETNEXTITEM, static_cast<WPARAM>(row), LVNI_SELECTED)) >= 0;)
            cells.push_back(cell(list, static_cast<int>(row), 0));
        return cells;
    }
    static void press(HWND window, int id) {
        SendMessageW(window, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(window, id)));
    }

    /// As a person does in the main window's list.
    static void chooseLanguage(std::string_view code) {
        const std::vector<LanguageChoice> &all = languageList();
        const auto row = std::find_if(all.begin(), all.end(), [code](const auto &one) { return one.code == code; });
        SendMessageW(ui::mainControl(ui::id::language), CB_SETCURSEL, static_cast<WPARAM>(row - all.begin()), 0);
        SendMessageW(ui::mainView.window, WM_COMMAND, MAKEWPARAM(ui::id::language, CBN_SELCHANGE), 0);
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
    scan.recycleBytes = 2048;
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
    const HWND list = GetDlgItem(first, onlyControl);
    const HWND listWithBin = GetDlgItem(second, onlyControl);
    operationState().scanResult = {};
    operationState().hasScanResult = false;

    chooseLanguage("de");
    EXPECT_EQ(textIn(first), W("Dustmere — Dateivorschau"));
    EXPECT_EQ(columnTitle(list, 1), W("Größe"));
    const auto rowsOf = [](HWND each) {
        std::vector<std::vector<WString>> rows;
        for (int row = 0; row < rowsIn(each); ++row)
            rows.push_back({cell(each, row, 0), cell(each, row, 1), cell(each, row, 2)});
        return rows;
    };
    using Rows = std::vector<std::vector<WString>>;
    const WString temporary = W("Temporäre Dateien");
    EXPECT_EQ(rowsOf(list),
              (Rows{{temporary, W("1.0 KB"), W("\u200E/tmp/one")}, {temporary, W("1.0 KB"), W("\u200E/tmp/two")}}));
    chooseLanguage("en");
    EXPECT_EQ(rowsOf(listWithBin),
              (Rows{{W("Temporary files"), W("1.0 KB"), W("\u200E/tmp/three")},
                    {W("Recycle Bin"), W("2.0 KB"),
                     W("Current user’s Recycle Bin: 5 files. View contents in the Windows Recycle Bin.")}}));
    for (const char *language : {"ar", "en"}) {
        chooseLanguage(language);
        EXPECT_EQ((GetWindowLongPtrW(list, GWL_EXSTYLE) & WS_EX_LAYOUTRTL) != 0, isRightToLeft());
    }

    SendMessageW(first, WM_CLOSE, 0, 0);
    EXPECT_EQ(previewWindows(), std::vector<HWND>{second});
}

TEST_F(SecondaryWindows, APreviewFollowsTheScaleOfItsScreen) {
    giveScan({W("C:\\tmp\\one")}, 0);
    openPreview();
    const HWND window = previewWindows()[0];
    const HWND list = GetDlgItem(window, onlyControl);
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

/// The ends of the selection, and the first line in view.
std::tuple<DWORD, DWORD, LRESULT> placeIn(HWND edit) {
    DWORD start = 0;
    DWORD end = 0;
    SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
    return {start, end, SendMessageW(edit, EM_GETFIRSTVISIBLELINE, 0, 0)};
}

TEST_F(SecondaryWindows, TheHistoryFollowsTheLogAndStaysWhereTheReaderIs) {
    for (int record = 0; record < 200; ++record)
        appendHistoryMessage(W("Очистка отменена."), W(""));
    openHistory();
    openHistory();
    ASSERT_EQ(historyWindows().size(), 1U);
    const HWND window = historyWindows()[0];
    const HWND text = GetDlgItem(window, onlyControl);
    EXPECT_GT(SendMessageW(text, EM_GETFIRSTVISIBLELINE, 0, 0), 100) << "the newest are in view";

    SendMessageW(text, EM_SETSEL, 40, 60);
    SendMessageW(text, EM_LINESCROLL, 0, -1000);
    SendMessageW(text, EM_LINESCROLL, 0, 7);
    EXPECT_EQ(placeIn(text), std::tuple(40, 60, 7));
    const std::size_t before = textIn(text).size();
    appendHistoryMessage(W("Самопроверка пройдена."), W(""));
    refreshHistoryWindows();
    EXPECT_GT(textIn(text).size(), before);
    EXPECT_EQ(placeIn(text), std::tuple(40, 60, 7));

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
    SendMessageW(window, WM_KEYDOWN, VK_ESCAPE, 0);
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
    const HWND text = GetDlgItem(historyWindows()[0], onlyControl);
    SendMessageW(text, EM_LINESCROLL, 0, -1000);
    SendMessageW(text, EM_SETSEL, 400'000, 400'008);
    const auto place = [text] {
        const auto [start, end, top] = placeIn(text);
        const WString all = textIn(text);
        return std::pair(all.substr(start, end - start), all.substr(static_cast<std::size_t>(top) * 43, 42));
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
        list = GetDlgItem(window, large_id::list);
        for (const auto &[name, megabytes] : {std::pair("b", 3), {"A", 2}, {"line\nfeed", 1}, {"\xFF", 4}})
            fs::resize_file(scratch.file(name), static_cast<std::uintmax_t>(megabytes) << 20);
        SetWindowTextW(GetDlgItem(window, large_id::folder), shownPath(scratch.wide()).c_str());
        SetWindowTextW(GetDlgItem(window, large_id::minimumSize), W("1"));
    }
    void search() {
        press(window, large_id::search);
        EXPECT_TRUE(operationState().busy);
        waitUntil([] { return !operationState().busy; });
    }
    WString shown(const WChar *name) const { return WString(W("\u200E")) + shownPath(scratch.wide()) + W("/") + name; }
    std::vector<WString> paths() const {
        std::vector<WString> cells;
        for (int row = 0; row < rowsIn(list); ++row)
            cells.push_back(cell(list, row, 0));
        return cells;
    }
    bool isEnabled(int id) const { return IsWindowEnabled(GetDlgItem(window, id)) != FALSE; }
};

TEST_F(LargeFiles, RefusesASearchWithoutItsInput) {
    const HWND size = GetDlgItem(window, large_id::minimumSize);
    SetWindowTextW(GetDlgItem(window, large_id::folder), W(""));
    for (const WChar *text : {W(""), W("0"), W("1048577")}) {
        SetWindowTextW(size, text);
        answer();
        press(window, large_id::search);
        EXPECT_EQ(takeSaid(), W("Enter a minimum size from 1 to 1048576 MB."));
    }
    SetWindowTextW(size, W("1048576"));
    answer();
    press(window, large_id::search);
    EXPECT_EQ(takeSaid(), W("Choose a folder or local drive to search."));
    EXPECT_FALSE(operationState().busy);
}

TEST_F(LargeFiles, TakesTheFolderThatIsChosen) {
    const HWND field = GetDlgItem(window, large_id::folder);
    const QString folder = QString::fromStdString(scratch.folder("Filme"));
    test::whenOpen<QFileDialog>([&folder](QFileDialog &dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Choose a folder or drive"));
        dialog.setDirectory(folder);
        static_cast<QDialog &>(dialog).accept();
    });
    press(window, large_id::chooseFolder);
    EXPECT_EQ(textIn(field), platform::wideOf(folder));
    test::whenOpen<QFileDialog>([](QFileDialog &dialog) { dialog.reject(); });
    press(window, large_id::chooseFolder);
    EXPECT_EQ(textIn(field), platform::wideOf(folder));
}

TEST_F(LargeFiles, SearchesAndSortsWithTheSelectionKept) {
    search();
    const std::vector<WString> bySize = {shown(W("\uFFFD")), shown(W("b")), shown(W("A")), shown(W("line\u240Afeed"))};
    EXPECT_EQ(paths(), bySize);
    EXPECT_EQ(cell(list, 0, 1), W("4.0 MB"));
    EXPECT_FALSE(isEnabled(large_id::move));
    EXPECT_FALSE(isEnabled(large_id::open));
    select(list, 1);
    select(list, 3);
    EXPECT_TRUE(isEnabled(large_id::move));
    EXPECT_TRUE(isEnabled(large_id::open));

    clickColumn(list, 1);
    EXPECT_EQ(paths(), std::vector<WString>(bySize.rbegin(), bySize.rend()));
    EXPECT_EQ(columnTitle(list, 1), W("Size ↑"));
    clickColumn(list, 0);
    EXPECT_EQ(paths(), (std::vector<WString>{bySize[2], bySize[1], bySize[3], bySize[0]}));
    EXPECT_EQ(columnTitle(list, 0), W("Full path ↑"));
    EXPECT_EQ(columnTitle(list, 1), W("Size"));
    EXPECT_EQ(selectedCells(list), (std::vector<WString>{bySize[1], bySize[3]}));
    clickColumn(list, 0);
    EXPECT_EQ(columnTitle(list, 0), W("Full path ↓"));
    clickColumn(list, 1);
    EXPECT_EQ(paths(), bySize);
}

/// What a file manager is asked.
class FileManager final : public QDBusVirtualObject {
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        if (message.interface() != QLatin1String("org.freedesktop.FileManager1"))
            return false;
        asked << message.member() << message.arguments().value(0).toStringList();
        return connection.send(message.createReply());
    }

    QStringList asked;
};

class FilesOnABus : public LargeFiles {
protected:
    const test::PrivateBus bus;
};

TEST_F(FilesOnABus, AreShownByTheFileManager) {
    if (!bus.isThere())
        GTEST_SKIP() << "There is no dbus-daemon.";
    const auto open = [](const WString &path) {
        TaskMemoryOwner<PIDLIST_ABSOLUTE> item;
        const HRESULT found = SHParseDisplayName(path.c_str(), nullptr, item.out(), 0, nullptr);
        return FAILED(found) ? found : SHOpenFolderAndSelectItems(item.get(), 0, nullptr, 0);
    };
    EXPECT_EQ(open(scratch.wide("missing")), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(open(scratch.wide("A")), E_FAIL) << "there is none yet";

    FileManager manager;
    QDBusConnection connection = bus.connect(QStringLiteral("file manager"));
    ASSERT_TRUE(connection.registerVirtualObject(QStringLiteral("/org/freedesktop/FileManager1"), &manager) &&
                connection.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    const auto asked = [&manager](const std::string &name) {
        waitUntil([&manager] { return !manager.asked.empty(); });
        EXPECT_EQ(manager.asked.join(' ').toStdString(), "ShowItems file://" + name);
        manager.asked.clear();
    };
    search();
    select(list, 3);
    press(window, large_id::open);
    asked(scratch.path("line%0Afeed"));
    QTest::mouseDClick(table(list).viewport(), Qt::LeftButton, {},
                       table(list).visualRect(table(list).model()->index(0, 0)).center());
    asked(scratch.path("%FF"));
    const std::string deep = std::string(200, 'd') + "/" + std::string(200, 'e') + "#% ";
    scratch.file(deep);
    EXPECT_EQ(open(scratch.wide(deep)), S_OK);
    asked(scratch.path(std::string(200, 'd') + "/" + std::string(200, 'e') + "%23%25%20"));
}

TEST_F(LargeFiles, MovesWhatWasConfirmed) {
    search();
    select(list, 0);
    select(list, 3);
    answer(); // the default is no
    press(window, large_id::move);
    EXPECT_EQ(takeSaid(),
              W("Move selected files to Recycle Bin?\n\nSelected files: 2 · 5.0 MB\n\nFiles can be restored "
                "from the system Recycle Bin. Permanent deletion is not used."));
    EXPECT_FALSE(operationState().busy);

    const auto moves = [&] {
        answer("Yes");
        press(window, large_id::move);
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
    EXPECT_EQ(selectedCells(list), std::vector<WString>{shown(W("b"))});
}

TEST_F(LargeFiles, IsCancelledByItsButtonAndClosesAfterItsOwnOperation) {
    openHistory();
    const HWND log = GetDlgItem(historyWindows()[0], onlyControl);
    press(window, large_id::search);
    press(window, large_id::cancel);
    EXPECT_TRUE(operationState().cancelFlag);
    waitUntil([] { return !operationState().busy; });
    EXPECT_NE(textIn(log).find(W("Files found: ")), WString::npos) << "and the history follows";

    press(window, large_id::search);
    ASSERT_TRUE(operationState().busy);
    EXPECT_TRUE(isEnabled(large_id::cancel));
    EXPECT_FALSE(isEnabled(large_id::search));
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_TRUE(IsWindow(window));
    EXPECT_TRUE(operationState().cancelFlag);
    waitUntil([] { return !operationState().busy; });
    EXPECT_FALSE(IsWindow(window));
    openLargeFiles();
    EXPECT_EQ(rowsIn(GetDlgItem(ui::mainView.largeFilesWindow, large_id::list)), 0);
}

TEST_F(SecondaryWindows, TheWidgetKeepsItsPlaceWithinTheScreenAndGoesWhenItIsHidden) {
    ui::mainView.settings.widgetEnabled = true;
    syncWidget();
    SetWindowPos(widgetWindow(), nullptr, -500, 3000, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    SendMessageW(widgetWindow(), WM_EXITSIZEMOVE, 0, 0);
    RECT place = {};
    GetWindowRect(widgetWindow(), &place);
    EXPECT_EQ(place.left, 8);
    EXPECT_EQ(place.bottom, 800 - 8);
    EXPECT_EQ(loadSettings().widgetX, 8);

    press(widgetWindow(), 9102);
    EXPECT_EQ(widgetWindow(), nullptr);
    EXPECT_FALSE(loadSettings().widgetEnabled);
    refreshWidget();
    ui::mainView.settings.widgetX = 5000; // on a screen that is gone
    ui::mainView.settings.widgetEnabled = true;
    syncWidget();
    GetWindowRect(widgetWindow(), &place);
    EXPECT_EQ(place.right, 800 - 8);
}

} // namespace
} // namespace dm
