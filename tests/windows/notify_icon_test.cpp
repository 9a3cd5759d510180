#include "windows/notify_icon.h"

#include <gtest/gtest.h>

#include <tuple>

namespace dm {
namespace {

TEST(NotifyIcon, EventsOfBothVersionsTellTheirIconAndPlace) {
    const NotifyEvent newer = decodeNotifyEvent(MAKEWPARAM(-20, 700), (1 << 16) | WM_CONTEXTMENU, true);
    EXPECT_EQ(std::tuple(newer.id, newer.event, newer.anchor.x, newer.anchor.y),
              std::tuple(1U, UINT{WM_CONTEXTMENU}, -20, 700));
    const NotifyEvent older = decodeNotifyEvent(1, WM_RBUTTONUP, false);
    EXPECT_EQ(std::tuple(older.id, older.event, older.anchor.x, older.anchor.y),
              std::tuple(1U, UINT{WM_RBUTTONUP}, -1, -1));
}

TEST(NotifyIcon, EventsLeadToTheirActions) {
    struct Case {
        UINT event;
        NotifyAction older, version4;
    };
    using enum NotifyAction;
    const Case cases[] = {
        {WM_CONTEXTMENU, Menu, Menu},         {WM_RBUTTONUP, Menu, Menu},
        {NIN_SELECT, Restore, Restore},       {NIN_KEYSELECT, Restore, Restore},
        {WM_LBUTTONDBLCLK, Restore, Restore}, {NIN_BALLOONUSERCLICK, Restore, Restore},
        {WM_LBUTTONUP, Restore, None}, // version 4 sends NIN_SELECT beside it
        {WM_LBUTTONDOWN, None, None},         {WM_MOUSEMOVE, None, None},
    };
    for (const Case &each : cases) {
        EXPECT_EQ(notifyActionOf({1, each.event, {}}, false), each.older) << each.event;
        EXPECT_EQ(notifyActionOf({1, each.event, {}}, true), each.version4) << each.event;
        EXPECT_EQ(notifyActionOf({2, each.event, {}}, true), None) << each.event;
    }
}

} // namespace
} // namespace dm
