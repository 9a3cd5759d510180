#include "engine/browsers.h"

#include "core/handles.h"
#include "platform/win32.h"

#include <algorithm>
#include <cstddef>

namespace dm {

namespace {

struct KnownBrowser {
    const WChar *processName;
    const WChar *displayName;
};

constexpr KnownBrowser knownBrowsers[] = {
    {W("chrome.exe"), W("Google Chrome")},
    {W("msedge.exe"), W("Microsoft Edge")},
    {W("firefox.exe"), W("Mozilla Firefox")},
};

const KnownBrowser *browserOf(const WChar *processName) {
    for (const KnownBrowser &browser : knownBrowsers)
        if (_wcsicmp(browser.processName, processName) == 0)
            return &browser;
    return nullptr;
}

DWORD userSize(HANDLE token) {
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    return size;
}

bool readUser(HANDLE token, std::vector<std::byte> &user) {
    DWORD size = static_cast<DWORD>(user.size());
    return GetTokenInformation(token, TokenUser, user.data(), size, &size) != FALSE;
}

PSID sidOf(std::vector<std::byte> &user) {
    return reinterpret_cast<TOKEN_USER *>(user.data())->User.Sid;
}

/// True also wherever the two owners cannot be compared.
bool hasThisUser(HANDLE process) {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened))
        return true;
    const OwnedHandle ownToken(opened);
    if (!OpenProcessToken(process, TOKEN_QUERY, &opened))
        return true;
    const OwnedHandle otherToken(opened);

    std::vector<std::byte> ownUser(userSize(ownToken.get()));
    std::vector<std::byte> otherUser(userSize(otherToken.get()));
    if (ownUser.empty() || otherUser.empty())
        return true;
    if (!readUser(ownToken.get(), ownUser) || !readUser(otherToken.get(), otherUser))
        return true;
    return EqualSid(sidOf(ownUser), sidOf(otherUser)) != FALSE;
}

/// False only for what certainly is no process of this user's session.
bool belongsToThisUser(DWORD processId) {
    DWORD ownSession = 0;
    DWORD otherSession = 0;
    if (!ProcessIdToSessionId(GetCurrentProcessId(), &ownSession) || !ProcessIdToSessionId(processId, &otherSession))
        return true;
    if (ownSession != otherSession)
        return false;

    const OwnedHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (!process)
        return GetLastError() != ERROR_INVALID_PARAMETER; // which means that it has ended
    return hasThisUser(process.get());
}

struct CloseRequest {
    const std::vector<BrowserProcess> &browsers;
    bool posted = false;
};

BOOL CALLBACK askWindow(HWND window, LPARAM parameter) {
    CloseRequest &request = *reinterpret_cast<CloseRequest *>(parameter);
    DWORD processId = 0;
    GetWindowThreadProcessId(window, &processId);
    const bool ofBrowser =
        std::any_of(request.browsers.begin(), request.browsers.end(),
                    [processId](const BrowserProcess &browser) { return browser.processId == processId; });
    if (ofBrowser && IsWindowVisible(window) && GetWindow(window, GW_OWNER) == nullptr &&
        PostMessageW(window, WM_CLOSE, 0, 0))
        request.posted = true;
    return TRUE;
}

} // namespace

std::vector<BrowserProcess> listUserBrowsers(bool &status) {
    std::vector<BrowserProcess> browsers;
    const OwnedHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    status = static_cast<bool>(snapshot);
    if (!status)
        return browsers;

    PROCESSENTRY32W process = {};
    process.dwSize = sizeof process;
    if (!Process32FirstW(snapshot.get(), &process)) {
        status = false;
        return browsers;
    }
    do {
        const KnownBrowser *browser = browserOf(process.szExeFile);
        if (browser != nullptr && belongsToThisUser(process.th32ProcessID))
            browsers.push_back({process.th32ProcessID, browser->displayName});
    } while (Process32NextW(snapshot.get(), &process));
    status = GetLastError() == ERROR_NO_MORE_FILES;
    return browsers;
}

std::vector<WString> runningBrowserNames() {
    bool status = false;
    const std::vector<BrowserProcess> browsers = listUserBrowsers(status);
    if (!status)
        return {W("Browser status unavailable")};
    std::vector<WString> names;
    for (const BrowserProcess &browser : browsers)
        if (std::find(names.begin(), names.end(), browser.displayName) == names.end())
            names.push_back(browser.displayName);
    return names;
}

bool askBrowsersToClose() {
    bool status = false;
    const std::vector<BrowserProcess> browsers = listUserBrowsers(status);
    if (!status)
        return false;
    if (browsers.empty())
        return true;
    CloseRequest request = {browsers};
    EnumWindows(askWindow, reinterpret_cast<LPARAM>(&request));
    return request.posted;
}

} // namespace dm
