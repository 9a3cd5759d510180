// Windows under a real X server and window manager, with a real pointer and real keys.
#include "environment.h"
#include "windows.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTableView>

namespace dm::test {
namespace {

using std::vector;

class RealInput : public testing::Test {
protected:
    void SetUp() override {
        for (const char *program : {"Xvfb", "openbox", "xdotool"}) {
            if (QStandardPaths::findExecutable(QString::fromUtf8(program)).isEmpty())
                GTEST_SKIP() << "There is no " << program << ".";
        }
        // Without -noreset the server starts anew, under its other clients, when the first question has been answered.
        server_.start(QStringLiteral("Xvfb"),
                      {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                       QStringLiteral("0"), QStringLiteral("1024x768x24"), QStringLiteral("-noreset"),
                       QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        ASSERT_TRUE(server_.waitForReadyRead());
        const QByteArray display = ':' + server_.readLine().trimmed();
        // Without an address, a message bus of its own would be started for the display.
        setEnvironment({{"DISPLAY", display.constData()},
                        {"QT_QPA_PLATFORM", "xcb"},
                        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}});
        manager_.start(QStringLiteral("openbox"), {});
        ASSERT_TRUE(manager_.waitForStarted());
        const auto answerTo = [](const QStringList &what) {
            QProcess person;
            person.start(QStringLiteral("xdotool"), what);
            return person.waitForFinished() && person.exitCode() == 0 ? person.readAllStandardOutput() : "none";
        };
        // A window that comes before the manager answers is never shown.
        ASSERT_TRUE(until([&] {
            return answerTo({QStringLiteral("set_num_desktops"), QStringLiteral("1"),
                             QStringLiteral("get_num_desktops")}) == "1\n";
        })) << manager_.state()
            << manager_.readAllStandardError().toStdString();
        // The first key brings another keyboard, which those that follow at once would be lost to.
        ASSERT_EQ(answerTo({QStringLiteral("key"), QStringLiteral("shift")}), "");
    }
    void TearDown() override {
        system_.reset();
        for (QProcess *process : {&manager_, &server_}) {
            process->terminate();
            process->waitForFinished();
        }
    }

    /// Runs the program's loop until something is so; false if it never is.
    bool until(const std::function<bool()> &isSo) {
        QElapsedTimer time;
        time.start();
        while (!isSo()) {
            if (time.hasExpired(20000))
                return false;
            if (shown_ != nullptr)
                runLoop(shown_);
        }
        return true;
    }
    /// Has the person at the machine do something, and lets the program run meanwhile.
    void act(const QString &what) {
        QProcess person;
        person.start(QStringLiteral("xdotool"), what.split(QLatin1Char(' ')));
        ASSERT_TRUE(person.waitForStarted());
        ASSERT_TRUE(until([&] { return person.state() == QProcess::NotRunning; }));
        EXPECT_EQ(person.exitCode(), 0) << what.toStdString();
    }
    void show(HWND window) {
        shown_ = window;
        ShowWindow(window, SW_SHOW);
        // The window manager is done with it once it has its frame, and the size that it was to have with it.
        ASSERT_TRUE(until([&] { return !platform::paneOf(window)->askedSize.isValid(); }));
        ASSERT_TRUE(until([&] {
            if (!widgetOf(window)->isActiveWindow())
                SetForegroundWindow(window);
            return widgetOf(window)->isActiveWindow();
        }));
    }
    QString at(HWND window, QPoint point) {
        const QPoint place = platform::paneOf(window)->client->mapToGlobal(point);
        return QStringLiteral("mousemove %1 %2").arg(place.x()).arg(place.y());
    }
    QString at(HWND window) { return at(window, platform::paneOf(window)->client->rect().center()); }

    vector<std::pair<int, int>> commands;
    vector<std::pair<UINT, QSize>> sizes;
    int closes = 0;
    Handler handler = [this](HWND, UINT message, WPARAM wParam, LPARAM lParam) -> std::optional<LRESULT> {
        if (message == WM_COMMAND)
            commands.emplace_back(LOWORD(wParam), HIWORD(wParam));
        if (message == WM_SIZE)
            sizes.emplace_back(wParam, QSize(LOWORD(lParam), HIWORD(lParam)));
        if (message == WM_CLOSE) {
            ++closes;
            return 0;
        }
        return std::nullopt;
    };

private:
    QProcess server_;
    QProcess manager_;
    HWND shown_ = nullptr;
    std::unique_ptr<platform::WindowSystem> system_ = std::make_unique<platform::WindowSystem>();
};

TEST_F(RealInput, APersonTypesAndClicks) {
    const TopWindow window(handler);
    const HWND edit = newControl(window, W("EDIT"), ES_NUMBER, 1);
    const HWND button = newButton(window, 2, 60);
    show(window);
    act(at(edit) + QStringLiteral(" click 1 type 4x2"));
    EXPECT_TRUE(until([&] { return textIn(edit) == W("42"); })) << QTest::toString(platform::textOf(textIn(edit)));
    act(QStringLiteral("key Tab key space"));
    EXPECT_TRUE(until([&] { return commands.size() == 1; }));
    EXPECT_EQ(GetFocus(), button);
    act(at(button) + QStringLiteral(" click 1"));
    EXPECT_TRUE(until([&] { return commands.size() == 2; }));
    act(at(button, QPoint(12, 8)) + QStringLiteral(" mousedown 1 ") + at(edit) + QStringLiteral(" mouseup 1"));
    act(QStringLiteral("key shift+Tab"));
    EXPECT_TRUE(until([&] { return GetFocus() == edit; }));
    EXPECT_EQ(commands, (vector<std::pair<int, int>>{{2, BN_CLICKED}, {2, BN_CLICKED}}));
    act(QStringLiteral("key Escape"));
    EXPECT_TRUE(until([&] { return commands.back() == std::pair(IDCANCEL, 0); }));
}

TEST_F(RealInput, APersonChoosesFromAList) {
    const TopWindow window(handler);
    const HWND combo = newControl(window, W("COMBOBOX"), CBS_DROPDOWNLIST, 3, {10, 10, 150, 200});
    for (const LPCWSTR text : {W("one"), W("two"), W("three")})
        SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    show(window);
    act(at(combo) + QStringLiteral(" click 1"));
    EXPECT_TRUE(until([] { return QApplication::activePopupWidget() != nullptr; }));
    act(QStringLiteral("key Down key Down key Return"));
    EXPECT_TRUE(until([&] { return !commands.empty(); }));
    EXPECT_EQ(commands.back(), std::pair(3, CBN_SELCHANGE));
    EXPECT_GT(SendMessageW(combo, CB_GETCURSEL, 0, 0), 0);
}

TEST_F(RealInput, APersonPicksRowsAndTurnsTheWheel) {
    const TopWindow window(handler);
    const HWND list = newControl(window, W("SysListView32"), LVS_REPORT | LVS_OWNERDATA, 4, {0, 0, 280, 180});
    LVCOLUMNW column = {};
    column.mask = LVCF_WIDTH;
    column.cx = 200;
    SendMessageW(list, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
    SendMessageW(list, LVM_SETITEMCOUNT, 1000, 0);
    show(window);
    const auto selectedCount = [&] { return SendMessageW(list, LVM_GETSELECTEDCOUNT, 0, 0); };
    act(at(list, QPoint(20, 5)) + QStringLiteral(" click 1"));
    EXPECT_TRUE(until([&] { return selectedCount() == 1; }));
    act(QStringLiteral("keydown shift ") + at(list, QPoint(20, 100)) + QStringLiteral(" click 1 keyup shift"));
    EXPECT_TRUE(until([&] { return selectedCount() > 3; }));
    act(QStringLiteral("click 5"));
    EXPECT_TRUE(until([&] { return qobject_cast<QTableView *>(widgetOf(list))->rowAt(0) > 0; }));
}

TEST_F(RealInput, AWindowHasItsSizeWithTheFrameAndIsMinimisedAndClosed) {
    const TopWindow window(handler);
    show(window);
    RECT rect;
    EXPECT_TRUE(until([&] { return GetWindowRect(window, &rect) != FALSE && rect.right - rect.left == 300; }));
    EXPECT_EQ(rect.bottom - rect.top, 200);
    GetClientRect(window, &rect);
    EXPECT_LT(rect.bottom, 200) << "the frame has a title";
    const QString number = QString::number(widgetOf(window)->winId());
    act(QStringLiteral("windowminimize ") + number);
    EXPECT_TRUE(until([&] { return IsIconic(window) != FALSE; }));
    EXPECT_EQ(sizes.back().first, UINT{SIZE_MINIMIZED});
    EXPECT_NE(IsWindowVisible(window), FALSE);
    ShowWindow(window, SW_RESTORE);
    EXPECT_TRUE(until([&] { return IsIconic(window) == FALSE && widgetOf(window)->isActiveWindow(); }));
    EXPECT_EQ(sizes.back().first, UINT{SIZE_RESTORED});
    EXPECT_TRUE(until([&] {
        act(QStringLiteral("key alt+F4")); // the window manager may not have turned to the window yet
        return closes > 0;
    }));

    const QSize before = sizes.back().second;
    widgetOf(window)->showMaximized();
    EXPECT_TRUE(until([&] { return sizes.back().first == UINT{SIZE_MAXIMIZED}; }));
    ShowWindow(window, SW_RESTORE);
    EXPECT_TRUE(until([&] { return sizes.back() == std::pair(UINT{SIZE_RESTORED}, before); }));
}

} // namespace
} // namespace dm::test
