// Other programs' windows on the X desktop. The handle of such a window is its number there.
//
// Under Wayland only the windows of programs that still speak X can be seen, through XWayland; without an X server
// none.
#include "platform/linux/errors.h"
#include "platform/linux/messages.h"
#include "platform/linux/own_windows.h"
#include "platform/win32.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>
#include <xcb/xcb.h>

namespace dm::platform {

namespace {

struct Free {
    void operator()(void *reply) const { std::free(reply); }
};
struct Disconnect {
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};
template <typename Reply>
using ReplyOf = std::unique_ptr<Reply, Free>;

/// A connection to the X server with the atoms that are asked for. An atom that no program has named yet is
/// XCB_ATOM_NONE, and no window has a property of that name.
struct Desktop {
    std::unique_ptr<xcb_connection_t, Disconnect> connection;
    xcb_atom_t clientList = XCB_ATOM_NONE;
    xcb_atom_t processId = XCB_ATOM_NONE;
    xcb_atom_t state = XCB_ATOM_NONE;
    xcb_atom_t protocols = XCB_ATOM_NONE;
    xcb_atom_t deleteWindow = XCB_ATOM_NONE;

    Desktop() : connection(xcb_connect(nullptr, nullptr)) {
        if (!connected())
            return;
        const std::pair<std::string_view, xcb_atom_t *> wanted[] = {
            {"_NET_CLIENT_LIST", &clientList}, {"_NET_WM_PID", &processId},         {"WM_STATE", &state},
            {"WM_PROTOCOLS", &protocols},      {"WM_DELETE_WINDOW", &deleteWindow},
        };
        std::array<xcb_intern_atom_cookie_t, std::size(wanted)> asked;
        for (std::size_t i = 0; i < asked.size(); ++i)
            asked[i] = xcb_intern_atom(connection.get(), 1, static_cast<std::uint16_t>(wanted[i].first.size()),
                                       wanted[i].first.data());
        for (std::size_t i = 0; i < asked.size(); ++i) {
            const ReplyOf<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection.get(), asked[i], nullptr));
            if (reply != nullptr)
                *wanted[i].second = reply->atom;
        }
    }

    bool connected() const { return xcb_connection_has_error(connection.get()) == 0; }
};

/// The connection of the enumeration that runs on this thread.
thread_local const Desktop *enumerated = nullptr;

/// Calls a function with the connection of the running enumeration, or with one of its own.
template <typename Question>
auto onDesktop(Question question) {
    if (enumerated != nullptr)
        return question(*enumerated);
    return question(Desktop());
}

struct EnumerationScope {
    explicit EnumerationScope(const Desktop &desktop) : outer(std::exchange(enumerated, &desktop)) {}
    ~EnumerationScope() { enumerated = outer; }
    EnumerationScope(const EnumerationScope &) = delete;
    const Desktop *outer;
};

HWND handleOf(xcb_window_t window) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window));
}

xcb_window_t numberOf(HWND handle) {
    return static_cast<xcb_window_t>(reinterpret_cast<std::uintptr_t>(handle));
}

/// No property that is looked at here is longer than this, in units of 32 bits.
constexpr std::uint32_t propertyLimit = 1U << 16;

/// Null where the window is gone or has no such property of this type and width of units.
ReplyOf<xcb_get_property_reply_t> readProperty(const Desktop &desktop, xcb_window_t window, xcb_atom_t name,
                                               xcb_atom_t type, int bitsPerUnit) {
    if (!desktop.connected() || name == XCB_ATOM_NONE)
        return nullptr;
    const auto asked = xcb_get_property(desktop.connection.get(), 0, window, name, type, 0, propertyLimit);
    ReplyOf<xcb_get_property_reply_t> reply(xcb_get_property_reply(desktop.connection.get(), asked, nullptr));
    if (reply != nullptr && reply->format != bitsPerUnit)
        reply.reset();
    return reply;
}

std::vector<std::uint32_t> readNumbers(const Desktop &desktop, xcb_window_t window, xcb_atom_t name, xcb_atom_t type) {
    const auto reply = readProperty(desktop, window, name, type, 32);
    if (reply == nullptr)
        return {};
    const auto *numbers = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {numbers, numbers + reply->value_len};
}

std::string readText(const Desktop &desktop, xcb_window_t window, xcb_atom_t name) {
    const auto reply = readProperty(desktop, window, name, XCB_GET_PROPERTY_TYPE_ANY, 8);
    if (reply == nullptr)
        return {};
    const std::string text(static_cast<const char *>(xcb_get_property_value(reply.get())), reply->value_len);
    return text.c_str(); // some programs count the null
}

/// A process number means something only on the machine that gave it: a program may show its windows here from afar.
bool isOfThisMachine(const Desktop &desktop, xcb_window_t window) {
    std::array<char, HOST_NAME_MAX + 1> host = {};
    if (gethostname(host.data(), host.size() - 1) != 0)
        return false;
    return readText(desktop, window, XCB_ATOM_WM_CLIENT_MACHINE) == host.data();
}

DWORD processOf(const Desktop &desktop, xcb_window_t window) {
    const std::vector<std::uint32_t> process = readNumbers(desktop, window, desktop.processId, XCB_ATOM_CARDINAL);
    return process.size() == 1 && isOfThisMachine(desktop, window) ? process[0] : 0;
}

/// A minimised window is not mapped, nor is one on another virtual desktop, but it is in the task bar: its state tells
/// it from one that its program has hidden.
bool isVisible(const Desktop &desktop, xcb_window_t window) {
    if (!desktop.connected())
        return false;
    const auto asked = xcb_get_window_attributes(desktop.connection.get(), window);
    const ReplyOf<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(desktop.connection.get(), asked, nullptr));
    if (attributes == nullptr)
        return false;
    if (attributes->map_state == XCB_MAP_STATE_VIEWABLE)
        return true;
    constexpr std::uint32_t iconicState = 3; // ICCCM 4.1.3.1
    const std::vector<std::uint32_t> state = readNumbers(desktop, window, desktop.state, desktop.state);
    return !state.empty() && state[0] == iconicState;
}

xcb_window_t ownerOf(const Desktop &desktop, xcb_window_t window) {
    const std::vector<std::uint32_t> owner = readNumbers(desktop, window, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW);
    return owner.empty() ? xcb_window_t{XCB_WINDOW_NONE} : owner[0];
}

/// Asks the program itself and not, by _NET_CLOSE_WINDOW, the window manager: that one would end a program that does
/// not know this request, and some offer to end one that is slow to answer.
bool requestClose(const Desktop &desktop, xcb_window_t window) {
    const std::vector<std::uint32_t> known = readNumbers(desktop, window, desktop.protocols, XCB_ATOM_ATOM);
    if (desktop.deleteWindow == XCB_ATOM_NONE ||
        std::find(known.begin(), known.end(), desktop.deleteWindow) == known.end())
        return false;
    xcb_client_message_event_t request = {};
    request.response_type = XCB_CLIENT_MESSAGE;
    request.format = 32;
    request.window = window;
    request.type = desktop.protocols;
    request.data.data32[0] = desktop.deleteWindow;
    request.data.data32[1] = XCB_CURRENT_TIME;
    const auto sent = xcb_send_event_checked(desktop.connection.get(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                                             reinterpret_cast<const char *>(&request));
    const ReplyOf<xcb_generic_error_t> error(xcb_request_check(desktop.connection.get(), sent));
    return error == nullptr && desktop.connected();
}

std::vector<xcb_window_t> topLevelWindows(const Desktop &desktop) {
    std::vector<xcb_window_t> windows;
    const xcb_setup_t *setup = xcb_get_setup(desktop.connection.get());
    for (auto screen = xcb_setup_roots_iterator(setup); screen.rem > 0; xcb_screen_next(&screen)) {
        const auto managed = readNumbers(desktop, screen.data->root, desktop.clientList, XCB_ATOM_WINDOW);
        windows.insert(windows.end(), managed.begin(), managed.end());
    }
    return windows;
}

} // namespace

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI EnumWindows(WNDENUMPROC callback, LPARAM parameter) {
    if (callback == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    const Desktop desktop;
    if (!desktop.connected())
        return fail(ERROR_NOT_SUPPORTED);
    const EnumerationScope scope(desktop);
    for (const xcb_window_t window : topLevelWindows(desktop))
        if (!callback(handleOf(window), parameter))
            return FALSE;
    return TRUE;
}

DWORD WINAPI GetWindowThreadProcessId(HWND window, LPDWORD processId) {
    const DWORD process = onDesktop([window](const Desktop &desktop) { return processOf(desktop, numberOf(window)); });
    if (process == 0)
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    else if (processId != nullptr)
        *processId = process;
    return process; // the first thread has the number of the process
}

BOOL WINAPI IsWindowVisible(HWND window) {
    if (isOwnWindow(window))
        return isShown(window) ? TRUE : FALSE;
    return onDesktop([window](const Desktop &desktop) { return isVisible(desktop, numberOf(window)); });
}

HWND WINAPI GetWindow(HWND window, UINT relation) {
    if (relation != GW_OWNER) {
        fail(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (isOwnWindow(window))
        return windowOf(window)->owner;
    return handleOf(onDesktop([window](const Desktop &desktop) { return ownerOf(desktop, numberOf(window)); }));
}

BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (isOwnWindow(window))
        return post(window, message, wParam, lParam) ? TRUE : FALSE;
    if (message != WM_CLOSE)
        return fail(ERROR_INVALID_PARAMETER);
    if (!onDesktop([window](const Desktop &desktop) { return requestClose(desktop, numberOf(window)); }))
        return fail(ERROR_INVALID_WINDOW_HANDLE);
    return TRUE;
}
