#include "windows.h"

#include <QApplication>

#include <atomic>
#include <chrono>
#include <thread>

namespace dm::test {
namespace {

using std::vector;

constexpr UINT firstMessage = WM_APP + 1;

class Messages : public WindowTest {};

/// Has threads post, waits in the program's way, and looks that each thread's messages come in its order.
void expectAllInOrder(HWND window) {
    constexpr WPARAM threads = 4;
    constexpr LPARAM each = 500;
    vector<std::jthread> posting;
    for (WPARAM thread = 0; thread < threads; ++thread) {
        posting.emplace_back([=] {
            for (LPARAM i = 0; i < each; ++i)
                PostMessageW(window, firstMessage, thread, i);
        });
    }
    LPARAM next[threads] = {};
    MSG message;
    for (LPARAM i = 0; i < static_cast<LPARAM>(threads) * each; ++i) {
        ASSERT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
        ASSERT_EQ(message.message, firstMessage);
        EXPECT_EQ(message.lParam, next[message.wParam]++);
    }
}

TEST(MessagesWithoutScreen, ThreadsPostAndTheLoopWaits) {
    Handler handler;
    const HWND window = CreateWindowExW(0, testClass(), W(""), 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, &handler);
    expectAllInOrder(window);
    PostQuitMessage(7);
    MSG message;
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), FALSE);
    EXPECT_EQ(message.wParam, 7U);
    EXPECT_EQ(DestroyWindow(window), TRUE);
    EXPECT_EQ(PostMessageW(window, firstMessage, 0, 0), FALSE);
}

TEST_F(Messages, ThreadsPostAndTheLoopWaits) {
    const TopWindow window;
    expectAllInOrder(window);
}

TEST_F(Messages, KeysKeepTheirPlaceAmongPostedMessages) {
    const TopWindow window;
    show(window);
    runLoop();
    PostMessageW(window, firstMessage, 0, 0);
    QTest::keyPress(screenWindowOf(window), Qt::Key_A);
    PostMessageW(window, firstMessage + 1, 0, 0);
    const std::pair<UINT, WPARAM> expected[] = {{firstMessage, 0}, {WM_KEYDOWN, 'A'}, {firstMessage + 1, 0}};
    MSG message;
    for (const auto &[number, wParam] : expected) {
        ASSERT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
        EXPECT_EQ(message.message, number);
        EXPECT_EQ(message.wParam, wParam);
    }
}

TEST_F(Messages, WhatIsDoneBehindAKeyWaitsBehindIt) {
    HWND edit = nullptr;
    WString seen = W("nothing");
    const TopWindow window([&](HWND, UINT message, WPARAM wParam, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_COMMAND && wParam == 2)
            seen = textIn(edit);
        return std::nullopt;
    });
    edit = newControl(window, W("EDIT"), 0, 1);
    const HWND button = newButton(window, 2, 60);
    show(window);
    SetFocus(edit);
    type(edit, Qt::Key_4);
    runLoop(window, [](const MSG &message) { return message.wParam == '4'; }); // which the loop keeps from the control
    type(edit, Qt::Key_5);
    click(button);
    EXPECT_EQ(seen, W("nothing"));
    runLoop(window);
    EXPECT_EQ(seen, W("5"));

    SetFocus(edit);
    seen = W("nothing");
    type(edit, Qt::Key_Tab);
    type(edit, Qt::Key_Space);
    runLoop(window);
    EXPECT_EQ(seen, W("5")) << "what is typed ahead of a Tab goes where that leads";
}

TEST_F(Messages, InADialogOrMenuPostedMessagesGoStraightToTheirWindows) {
    vector<UINT> got;
    HWND focused = nullptr;
    const TopWindow window([&](HWND self, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message >= firstMessage)
            got.push_back(message);
        if (message == firstMessage) {
            std::thread([self] { PostMessageW(self, firstMessage + 1, 0, 0); }).join();
        } else if (message == firstMessage + 1) {
            // By now it is open, and this is inside its loop.
            QWidget *open = QApplication::activePopupWidget() != nullptr ? QApplication::activePopupWidget()
                                                                         : QApplication::activeModalWidget();
            focused = GetFocus();
            PostQuitMessage(3); // is for the program's loop
            EXPECT_NE(open, nullptr);
            if (open != nullptr)
                open->close();
        }
        return std::nullopt;
    });
    show(window);
    const HMENU menu = CreatePopupMenu();
    AppendMenuW(menu, MF_STRING, 1, W("Open"));
    PostMessageW(window, firstMessage, 0, 0); // also what was posted before it opens
    EXPECT_EQ(TrackPopupMenuEx(menu, TPM_RETURNCMD, 20, 20, window, nullptr), 0);
    DestroyMenu(menu);
    EXPECT_EQ(std::exchange(got, {}), (vector<UINT>{firstMessage, firstMessage + 1}));
    EXPECT_EQ(focused, window.window) << "a menu leaves it where it is";

    PostMessageW(window, firstMessage, 0, 0);
    EXPECT_EQ(MessageBoxW(window, W("Text"), W("Title"), MB_ICONINFORMATION), IDOK);
    EXPECT_EQ(got, (vector<UINT>{firstMessage, firstMessage + 1}));
    EXPECT_EQ(focused, nullptr) << "the dialog has the keyboard";
    MSG message;
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), FALSE);
    EXPECT_EQ(message.wParam, 3U);
}

TEST_F(Messages, APostedMessageEndsItsWindow) {
    TopWindow window([&](HWND self, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message == firstMessage)
            DestroyWindow(self);
        EXPECT_NE(message, firstMessage + 1);
        return std::nullopt;
    });
    show(window);
    PostMessageW(window, firstMessage, 0, 0);
    PostMessageW(window, firstMessage + 1, 0, 0);
    runLoop();
    EXPECT_EQ(IsWindow(window), FALSE);
    EXPECT_NE(TopWindow().window, window.window);
}

TEST_F(Messages, AWindowEndsFromTheTopDownAndFromTheBottomUp) {
    std::string order;
    const auto noting = [&order](char name) -> Handler {
        return [&order, name](HWND, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
            if (message == WM_DESTROY || message == WM_NCDESTROY)
                (order += name) += message == WM_DESTROY ? '1' : '2';
            return std::nullopt;
        };
    };
    const auto child = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR, DWORD_PTR order) {
        if (message == WM_DESTROY || message == WM_NCDESTROY)
            *reinterpret_cast<std::string *>(order) += message == WM_DESTROY ? "c1" : "c2";
        return DefSubclassProc(window, message, wParam, lParam);
    };
    TopWindow window(noting('w'));
    TopWindow owned(noting('o'), window);
    SetWindowSubclass(newButton(window, 1), child, 1, reinterpret_cast<DWORD_PTR>(&order));
    DestroyWindow(window);
    EXPECT_EQ(order, "o1o2w1c1c2w2");
    EXPECT_EQ(IsWindow(owned), FALSE);
}

struct Chain {
    std::string calls;
    bool removes = false;
};

LRESULT CALLBACK link(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id, DWORD_PTR reference) {
    auto &chain = *reinterpret_cast<Chain *>(reference);
    if (message == firstMessage) {
        chain.calls += static_cast<char>('0' + id);
        if (chain.removes && id == 2) {
            RemoveWindowSubclass(window, link, 2); // itself
            RemoveWindowSubclass(window, link, 3); // one that has been asked
        }
    }
    return DefSubclassProc(window, message, wParam, lParam);
}

TEST_F(Messages, SubclassesAreAskedFromTheNewestOn) {
    Chain chain;
    const TopWindow window([&](HWND, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message != firstMessage)
            return std::nullopt;
        chain.calls += 'p';
        return 42;
    });
    for (UINT_PTR id = 1; id <= 3; ++id)
        SetWindowSubclass(window, link, id, reinterpret_cast<DWORD_PTR>(&chain));
    EXPECT_EQ(SendMessageW(window, firstMessage, 0, 0), 42);
    EXPECT_EQ(chain.calls, "321p");
    chain = {"", true};
    SendMessageW(window, firstMessage, 0, 0);
    EXPECT_EQ(chain.calls, "321p");
    SendMessageW(window, firstMessage, 0, 0);
    EXPECT_EQ(chain.calls, "321p1p");
}

TEST_F(Messages, TimersTickWhileTheLoopWaitsAndEndWithTheirWindow) {
    int ticks = 0;
    TopWindow window([&](HWND self, UINT message, WPARAM wParam, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_TIMER && wParam == 5 && ++ticks == 3)
            PostMessageW(self, firstMessage, 0, 0);
        return std::nullopt;
    });
    EXPECT_EQ(SetTimer(window, 5, 10, nullptr), 5U);
    SetTimer(window, 6, 1, nullptr);
    EXPECT_EQ(KillTimer(window, 6), TRUE);
    EXPECT_EQ(KillTimer(window, 6), FALSE);
    MSG message;
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), TRUE);
    EXPECT_EQ(ticks, 3);
    DestroyWindow(window);
    EXPECT_EQ(KillTimer(window, 5), FALSE);
}

TEST_F(Messages, ThousandsOfWindowsLeaveNothingBehind) {
    platform::application();
    const auto before = QApplication::allWidgets().size();
    for (int i = 0; i < 500; ++i) {
        const TopWindow window;
        newButton(window, 1);
        newControl(window, W("EDIT"), ES_MULTILINE | WS_VSCROLL, 2);
        newControl(window, W("COMBOBOX"), CBS_DROPDOWN, 3);
        newControl(window, W("msctls_trackbar32"), 0, 4);
        newControl(window, W("SysListView32"), LVS_REPORT | LVS_OWNERDATA, 5);
    }
    EXPECT_EQ(QApplication::allWidgets().size(), before);
    EXPECT_TRUE(QGuiApplication::allWindows().empty());
}

} // namespace
} // namespace dm::test
