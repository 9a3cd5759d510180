#include "windows/notify_icon.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

constexpr LPARAM packed(UINT event, UINT id) {
    return static_cast<LPARAM>((id << 16) | event);
}

TEST(NotifyIcon, EventsOfVersion4TellTheirPlace) {
    const NotifyEvent event = decodeNotifyEvent(MAKEWPARAM(-20, 700), packed(WM_CONTEXTMENU, 1), true);
    EXPECT_EQ(event.id, 1U);
    EXPECT_EQ(event.event, static_cast<UINT>(WM_CONTEXTMENU));
    EXPECT_EQ(event.anchor.x, -20);
    EXPECT_EQ(event.anchor.y, 700);
}

TEST(NotifyIcon, OlderEventsAreWholeNumbers) {
    const NotifyEvent event = decodeNotifyEvent(1, WM_RBUTTONUP, false);
    EXPECT_EQ(event.id, 1U);
    EXPECT_EQ(event.event, static_cast<UINT>(WM_RBUTTONUP));
    EXPECT_EQ(event.anchor.x, -1);
    EXPECT_EQ(event.anchor.y, -1);
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
