#include "windows.h"

#include <QAccessible>
#include <QApplication>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTableView>
#include <QTextBlock>
#include <QWheelEvent>

#include <set>

namespace dm::test {
namespace {

using std::string;
using std::vector;

WString digitsOf(int value) {
    const string digits = std::to_string(value);
    return {digits.begin(), digits.end()};
}

/// The notifications that a window got of its controls, and what it saw in its buttons' drawing.
struct Parent {
    vector<std::pair<int, int>> commands; ///< id and code
    vector<int> scrolls;
    vector<UINT> states;

    Handler handler() {
        return [this](HWND, UINT message, WPARAM wParam, LPARAM lParam) -> std::optional<LRESULT> {
            if (message == WM_COMMAND) {
                commands.emplace_back(LOWORD(wParam), HIWORD(wParam));
            } else if (message == WM_HSCROLL) {
                scrolls.push_back(LOWORD(wParam));
            } else if (message == WM_DRAWITEM) {
                states.push_back(reinterpret_cast<const DRAWITEMSTRUCT *>(lParam)->itemState);
                return TRUE;
            }
            return std::nullopt;
        };
    }
};

LRESULT CALLBACK noteMessages(HWND control, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR, DWORD_PTR noted) {
    reinterpret_cast<vector<UINT> *>(noted)->push_back(message);
    return DefSubclassProc(control, message, wParam, lParam);
}

class Controls : public WindowTest {
protected:
    Parent parent;
    vector<UINT> messages; ///< of a control that notes them
    TopWindow window{parent.handler()};

    void noteMessagesOf(HWND control) {
        SetWindowSubclass(control, noteMessages, 1, reinterpret_cast<DWORD_PTR>(&messages));
    }
    UINT stateOf(HWND button) {
        parent.states.clear();
        InvalidateRect(button, nullptr, FALSE);
        UpdateWindow(button);
        return parent.states.empty() ? ~0U : parent.states.back();
    }
    using Commands = vector<std::pair<int, int>>;
    Commands takeCommands() { return std::exchange(parent.commands, {}); }
};

TEST_F(Controls, AButtonIsPressedInAllWays) {
    const HWND button = newButton(window, 7);
    show(window);
    const QPoint inside = middleOf(button);
    const QPoint outside(200, 150);
    const Commands clicked = {{7, BN_CLICKED}};

    press(button, inside);
    EXPECT_EQ(stateOf(button) & ODS_SELECTED, UINT{ODS_SELECTED});
    EXPECT_EQ(GetFocus(), button);
    EXPECT_EQ(takeCommands(), Commands());
    release(button, inside);
    EXPECT_EQ(takeCommands(), clicked);
    EXPECT_EQ(stateOf(button) & ODS_SELECTED, 0U);

    press(button, inside);
    QTest::mouseMove(screenWindowOf(button), outside);
    EXPECT_EQ(stateOf(button) & ODS_SELECTED, 0U) << "left while pressed";
    QTest::mouseMove(screenWindowOf(button), inside);
    EXPECT_EQ(stateOf(button) & ODS_SELECTED, UINT{ODS_SELECTED}) << "back again";
    QTest::mouseMove(screenWindowOf(button), outside);
    release(button, outside);
    EXPECT_EQ(takeCommands(), Commands());

    QTest::keyPress(screenWindowOf(button), Qt::Key_Space);
    runLoop(window);
    EXPECT_EQ(stateOf(button) & ODS_SELECTED, UINT{ODS_SELECTED});
    EXPECT_EQ(takeCommands(), Commands());
    QTest::keyRelease(screenWindowOf(button), Qt::Key_Space);
    runLoop(window);
    EXPECT_EQ(takeCommands(), clicked);

    QTest::mouseDClick(screenWindowOf(button), Qt::LeftButton, {}, inside);
    EXPECT_EQ(takeCommands(), (Commands{{7, BN_CLICKED}, {7, BN_DOUBLECLICKED}}));
}

TEST_F(Controls, AButtonLosesTheMouse) {
    const HWND button = newButton(window, 7);
    show(window);
    noteMessagesOf(button);
    press(button, middleOf(button));
    EXPECT_EQ(std::count(messages.begin(), messages.end(), WM_CAPTURECHANGED), 0);
    EnableWindow(button, FALSE);
    EXPECT_EQ(std::count(messages.begin(), messages.end(), WM_CAPTURECHANGED), 1);
    EXPECT_EQ(stateOf(button) & (ODS_SELECTED | ODS_DISABLED), UINT{ODS_DISABLED});
    release(button, middleOf(button));
    click(button);
    EXPECT_EQ(takeCommands(), Commands());
    EXPECT_EQ(GetFocus(), window.window);

    EnableWindow(button, TRUE);
    messages.clear();
    click(button);
    std::erase_if(messages, [](UINT message) {
        return message != WM_LBUTTONDOWN && message != WM_LBUTTONUP && message != WM_CAPTURECHANGED &&
               message != WM_MOUSELEAVE;
    });
    EXPECT_EQ(messages, (vector<UINT>{WM_LBUTTONDOWN, WM_LBUTTONUP, WM_CAPTURECHANGED}));
    TRACKMOUSEEVENT track = {sizeof track, TME_LEAVE, button, 0};
    TrackMouseEvent(&track);
    for (const auto leaves : {1, 0}) { // once it is asked for, and once only
        messages.clear();
        QTest::mouseMove(screenWindowOf(button), QPoint(200, 150));
        EXPECT_EQ(std::count(messages.begin(), messages.end(), WM_MOUSELEAVE), leaves);
        QTest::mouseMove(screenWindowOf(button), middleOf(button));
    }
    EXPECT_EQ(takeCommands(), (Commands{{7, BN_CLICKED}}));
}

TEST_F(Controls, AControlEndsInItsOwnHandler) {
    HWND doomed = nullptr;
    const TopWindow owner([&](HWND, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_COMMAND || message == WM_HSCROLL || message == WM_NOTIFY)
            DestroyWindow(doomed);
        return std::nullopt;
    });
    show(owner);
    const struct {
        LPCWSTR name;
        DWORD style;
        Qt::Key key; ///< none for a click
    } cases[] = {
        {W("BUTTON"), BS_OWNERDRAW, {}},
        {W("BUTTON"), BS_OWNERDRAW, Qt::Key_Space},
        {W("msctls_trackbar32"), 0, Qt::Key_Right},
        {W("COMBOBOX"), CBS_DROPDOWNLIST, Qt::Key_Down},
        {W("SysListView32"), LVS_REPORT | LVS_OWNERDATA, Qt::Key_Down},
    };
    for (const auto &[name, style, key] : cases) {
        doomed = newControl(owner, name, style, 1, {10, 10, 110, 110});
        SendMessageW(doomed, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(W("one")));
        SendMessageW(doomed, LVM_SETITEMCOUNT, 5, 0);
        SetFocus(doomed);
        runLoop(owner);
        ASSERT_NE(IsWindow(doomed), FALSE);
        if (key == Qt::Key{})
            click(doomed);
        else
            type(owner, key);
        runLoop(owner);
        EXPECT_EQ(IsWindow(doomed), FALSE) << platform::textOf(name).toStdString();
    }
}

TEST_F(Controls, KeysGoRoundTheControls) {
    const HWND first = newButton(window, 11, 10);
    const HWND still = newButton(window, 12, 50);
    const HWND gone = newButton(window, 13, 90);
    const HWND last = newButton(window, 14, 130);
    EnableWindow(still, FALSE);
    ShowWindow(gone, SW_HIDE);
    show(window);
    click(first);
    EXPECT_EQ(stateOf(first) & (ODS_FOCUS | ODS_NOFOCUSRECT), UINT{ODS_FOCUS | ODS_NOFOCUSRECT}) << "not by keys";
    takeCommands();
    SetFocus(window);
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        HWND focused;
        Commands commands;
    } steps[] = {
        {Qt::Key_Return, {}, window.window, {{IDOK, 0}}},
        {Qt::Key_Tab, {}, first, {}},
        {Qt::Key_Tab, {}, last, {}},
        {Qt::Key_Tab, {}, first, {}},
        {Qt::Key_Backtab, Qt::ShiftModifier, last, {}},
        {Qt::Key_Up, {}, first, {}},
        {Qt::Key_Right, {}, last, {}},
        {Qt::Key_Return, {}, last, {{14, BN_CLICKED}}},
        {Qt::Key_Escape, {}, last, {{IDCANCEL, 0}}},
    };
    for (const auto &step : steps) {
        type(window, step.key, step.modifiers);
        runLoop(window);
        EXPECT_EQ(GetFocus(), step.focused) << &step - steps;
        EXPECT_EQ(takeCommands(), step.commands) << &step - steps;
    }
    EXPECT_EQ(stateOf(last) & (ODS_FOCUS | ODS_NOFOCUSRECT), UINT{ODS_FOCUS});
}

TEST_F(Controls, AButtonIsReadOutByItsText) {
    const HWND button = newButton(window, 1);
    SetWindowTextW(button, W("Chrome & Edge · On"));
    QAccessibleInterface *read = QAccessible::queryAccessibleInterface(widgetOf(button));
    EXPECT_EQ(read->text(QAccessible::Name), QStringLiteral("Chrome & Edge · On"));
    EXPECT_EQ(read->role(), QAccessible::Button);
}

TEST_F(Controls, ATextOfDigitsTakesNoMoreThanItsLimit) {
    const HWND edit = newControl(window, W("EDIT"), ES_NUMBER, 1);
    SendMessageW(edit, EM_SETLIMITTEXT, 7, 0);
    SetWindowTextW(edit, W("100"));
    show(window);
    SetFocus(edit);
    SendMessageW(edit, EM_SETSEL, 0, -1);
    for (const Qt::Key key : {Qt::Key_1, Qt::Key_A, Qt::Key_2, Qt::Key_Minus, Qt::Key_3, Qt::Key_4, Qt::Key_5,
                              Qt::Key_6, Qt::Key_7, Qt::Key_8})
        type(edit, key);
    runLoop(window);
    EXPECT_EQ(textIn(edit), W("1234567"));
}

TEST_F(Controls, ATextReadFromTheRightBeginsThere) {
    const HWND edit =
        newControl(window, W("EDIT"), ES_MULTILINE | ES_AUTOHSCROLL | ES_READONLY | WS_VSCROLL, 1, {0, 0, 280, 150});
    SetWindowTextW(edit, (W("\u0639 12\r\n") + WString(200, 0x0639) + W("\r\n\u0639")).c_str());
    show(window);
    const auto &text = *qobject_cast<QPlainTextEdit *>(widgetOf(edit));
    const auto firstOf = [&](int line) {
        widgetOf(edit)->grab(); // the lines are laid out when they are painted
        return text.cursorRect(QTextCursor(text.document()->findBlockByNumber(line))).x();
    };
    const auto setStyle = [edit](LONG_PTR style) {
        SetWindowLongPtrW(edit, GWL_EXSTYLE, style);
        SetWindowPos(edit, nullptr, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_FRAMECHANGED);
    };
    const int width = text.viewport()->width();
    setStyle(WS_EX_RTLREADING);
    for (const int line : {0, 1, 2})
        EXPECT_NEAR(firstOf(line), width - 5, 5) << line;
    // The caret goes to the other end of the long line, and into view.
    SendMessageW(edit, EM_SETSEL, 7, 7);
    SetFocus(edit);
    type(edit, Qt::Key_End);
    runLoop(window);
    EXPECT_GT(firstOf(0), width);
    EXPECT_TRUE(text.viewport()->rect().contains(text.cursorRect().center()));

    setStyle(0);
    EXPECT_LT(firstOf(2), 30);
}

TEST_F(Controls, ADropDownListTellsWhatAPersonChooses) {
    const HWND combo = newControl(window, W("COMBOBOX"), CBS_DROPDOWNLIST | WS_VSCROLL, 9, {10, 10, 150, 150});
    for (const LPCWSTR text : {W("/"), W("/home"), W("/media/stick")})
        SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    show(window);
    EXPECT_EQ(SendMessageW(combo, CB_GETCURSEL, 0, 0), CB_ERR);
    EXPECT_EQ(SendMessageW(combo, CB_SETCURSEL, 1, 0), 1);
    EXPECT_EQ(takeCommands(), Commands()) << "not what the program chooses";
    SetFocus(combo);
    type(combo, Qt::Key_Down);
    runLoop(window);
    EXPECT_EQ(takeCommands(), (Commands{{9, CBN_SELCHANGE}}));
    EXPECT_EQ(SendMessageW(combo, CB_GETCURSEL, 0, 0), 2);
    EXPECT_EQ(textIn(combo), W("/media/stick"));
}

TEST_F(Controls, ATrackBarIsMovedByMouseKeysAndWheel) {
    const HWND bar = newControl(window, W("msctls_trackbar32"), TBS_NOTICKS, 3, {10, 10, 210, 40});
    SendMessageW(bar, TBM_SETRANGE, TRUE, MAKELPARAM(20, 100));
    SendMessageW(bar, TBM_SETPOS, TRUE, 60);
    show(window);
    SetFocus(bar);
    EXPECT_TRUE(parent.scrolls.empty());
    const auto position = [&] { return SendMessageW(bar, TBM_GETPOS, 0, 0); };
    const auto takeScrolls = [&] { return std::exchange(parent.scrolls, {}); };

    type(bar, Qt::Key_Right);
    runLoop(window);
    EXPECT_EQ(position(), 61);
    EXPECT_EQ(takeScrolls(), (vector<int>{SB_LINERIGHT, SB_ENDSCROLL}));
    click(bar, QPoint(200, 25));
    EXPECT_EQ(position(), 77) << "beside the knob: a page is a fifth";
    EXPECT_EQ(takeScrolls(), (vector<int>{SB_PAGERIGHT, SB_ENDSCROLL}));

    // The knob's middle goes from 10 to 190.
    const auto at = [](int value) { return QPoint(10 + 10 + (value - 20) * 180 / 80, 25); };
    press(bar, at(77));
    QTest::mouseMove(screenWindowOf(bar), at(90));
    EXPECT_NEAR(position(), 90, 1);
    release(bar, at(90));
    EXPECT_EQ(takeScrolls(), (vector<int>{SB_THUMBTRACK, SB_THUMBPOSITION, SB_ENDSCROLL}));

    const LRESULT before = position();
    QWheelEvent wheel(QPointF(100, 15), widgetOf(bar)->mapToGlobal(QPointF(100, 15)), {}, QPoint(0, 120), {}, {},
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(widgetOf(bar), &wheel);
    EXPECT_GT(position(), before);
    EXPECT_EQ(takeScrolls().back(), SB_ENDSCROLL);
}

/// A virtual list, and what it asked and told.
struct ListParent {
    std::set<int> asked;
    int changes = 0;
    int column = -1;
    int activated = -1;
    WString cell;

    Handler handler() {
        return [this](HWND, UINT message, WPARAM, LPARAM lParam) -> std::optional<LRESULT> {
            if (message != WM_NOTIFY)
                return std::nullopt;
            const auto &head = *reinterpret_cast<const NMHDR *>(lParam);
            if (head.code == LVN_GETDISPINFOW) {
                auto &info = *reinterpret_cast<NMLVDISPINFOW *>(lParam);
                asked.insert(info.item.iItem);
                cell = digitsOf(info.item.iItem);
                info.item.pszText = cell.data();
            } else if (head.code == LVN_ITEMCHANGED || head.code == LVN_ODSTATECHANGED) {
                ++changes;
            } else if (head.code == LVN_COLUMNCLICK) {
                column = reinterpret_cast<const NMLISTVIEW *>(lParam)->iSubItem;
            } else if (head.code == NM_DBLCLK) {
                activated = reinterpret_cast<const NMITEMACTIVATE *>(lParam)->iItem;
            }
            return 0;
        };
    }
};

class List : public WindowTest {
protected:
    ListParent parent;
    TopWindow window{parent.handler()};
    HWND list =
        newControl(window, W("SysListView32"), LVS_REPORT | LVS_SHOWSELALWAYS | LVS_OWNERDATA, 5, {0, 0, 300, 200});

    void fill(int count) {
        LVCOLUMNW column = {};
        column.mask = LVCF_TEXT | LVCF_WIDTH;
        column.cx = 100;
        WString title = W("Path");
        column.pszText = title.data();
        for (WPARAM i = 0; i < 2; ++i)
            SendMessageW(list, LVM_INSERTCOLUMNW, i, reinterpret_cast<LPARAM>(&column));
        SendMessageW(list, LVM_SETITEMCOUNT, static_cast<WPARAM>(count), LVSICF_NOINVALIDATEALL);
        show(window);
        SetFocus(list);
        runLoop(window);
    }
    QPoint rowMiddle(int row) {
        auto *client = platform::paneOf(list)->client;
        const int height = QFontMetrics(widgetOf(list)->font()).height() + 5;
        return client->mapTo(client->window(), QPoint(20, row * height + height / 2));
    }
    vector<int> selected() {
        vector<int> rows;
        for (LRESULT row = -1;
             (row = SendMessageW(list, LVM_GETNEXTITEM, static_cast<WPARAM>(row), LVNI_SELECTED)) >= 0;)
            rows.push_back(static_cast<int>(row));
        EXPECT_EQ(SendMessageW(list, LVM_GETSELECTEDCOUNT, 0, 0), static_cast<LRESULT>(rows.size()));
        return rows;
    }
};

TEST_F(List, AMillionRowsAreAskedForOnlyWhereTheyShow) {
    fill(1000000);
    EXPECT_LT(parent.asked.size(), 20U);
    EXPECT_TRUE(parent.asked.contains(0));
    parent.asked.clear();
    type(list, Qt::Key_End);
    type(list, Qt::Key_9); // typing looks for nothing
    runLoop(window);
    EXPECT_LT(parent.asked.size(), 40U);
    EXPECT_TRUE(parent.asked.contains(999999));
    EXPECT_EQ(selected(), vector<int>{999999});
}

TEST_F(List, RowsAreChosenByMouseAndKeys) {
    fill(50);
    const struct {
        std::optional<int> clicked; ///< a row, or a key
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        vector<int> selected;
    } steps[] = {
        {2, {}, {}, {2}},
        {4, {}, Qt::ControlModifier, {2, 4}},
        {2, {}, Qt::ControlModifier, {4}},
        {5, {}, Qt::ShiftModifier, {2, 3, 4, 5}},
        {0, {}, Qt::ShiftModifier, {0, 1, 2}},
        {1, {}, {}, {1}},
        {{}, Qt::Key_Down, {}, {2}},
        {{}, Qt::Key_Down, Qt::ShiftModifier, {2, 3}},
        {{}, Qt::Key_Down, Qt::ControlModifier, {2, 3}},
        {{}, Qt::Key_Down, Qt::ControlModifier, {2, 3}},
        {{}, Qt::Key_Space, Qt::ControlModifier, {2, 3, 5}},
        {{}, Qt::Key_Home, {}, {0}},
        {{}, Qt::Key_Up, {}, {0}},
        {{}, Qt::Key_End, {}, {49}},
    };
    for (const auto &step : steps) {
        parent.changes = 0;
        const vector<int> before = selected();
        if (step.clicked)
            click(list, rowMiddle(*step.clicked), step.modifiers);
        else
            type(list, step.key, step.modifiers);
        runLoop(window);
        EXPECT_EQ(selected(), step.selected) << &step - steps;
        EXPECT_EQ(parent.changes > 0, before != step.selected) << &step - steps;
    }
    EXPECT_EQ(qobject_cast<QTableView *>(widgetOf(list))->currentIndex().row(), 49) << "the one with the focus";
}

TEST_F(List, TheProgramSelectsSortsAndShrinks) {
    fill(50);
    LVITEMW item = {};
    item.stateMask = LVIS_SELECTED;
    item.state = LVIS_SELECTED;
    for (const WPARAM row : {3, 30, 49})
        SendMessageW(list, LVM_SETITEMSTATE, row, reinterpret_cast<LPARAM>(&item));
    EXPECT_EQ(selected(), (vector<int>{3, 30, 49}));
    SendMessageW(list, LVM_SETITEMCOUNT, 40, LVSICF_NOINVALIDATEALL);
    EXPECT_EQ(selected(), (vector<int>{3, 30}));
    item.state = 0;
    item.stateMask |= LVIS_FOCUSED;
    SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&item));
    EXPECT_EQ(selected(), vector<int>());

    const auto header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
    ASSERT_NE(IsChild(list, header), FALSE);
    click(header, QPoint(150, middleOf(header).y()));
    EXPECT_EQ(parent.column, 1);
    QTest::mouseDClick(screenWindowOf(list), Qt::LeftButton, {}, rowMiddle(6));
    EXPECT_EQ(parent.activated, 6);
}

} // namespace
} // namespace dm::test
