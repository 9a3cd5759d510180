#include "platform/places.h"

#include "platform/win32.h"

namespace dm {

namespace {

WString localAppData() {
    PWSTR path = nullptr;
    const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &path);
    const WString folder = SUCCEEDED(result) && path != nullptr ? WString(path) : WString();
    CoTaskMemFree(path);
    return folder;
}

WString windowsFolder() {
    constexpr UINT units = 32768;
    WString folder(units, W('\0'));
    const UINT length = GetWindowsDirectoryW(folder.data(), units);
    folder.resize(length < units ? length : 0);
    return folder;
}

BrowserPlace chromiumPlace(const WString &profiles) {
    return {profiles,
            ProfileNames::Chromium,
            {{profiles, W("Cache")}, {profiles, W("Code Cache")}, {profiles, W("GPUCache")}}};
}

BrowserPlace firefoxPlace(const WString &profiles) {
    return {profiles, ProfileNames::Any, {{profiles, W("cache2")}}};
}

} // namespace

ScanPlaces scanPlaces() {
    ScanPlaces places;
    if (const WString local = localAppData(); !local.empty()) {
        places.userTemp = local + W("\\Temp");
        places.browsers = {chromiumPlace(local + W("\\Google\\Chrome\\User Data")),
                           chromiumPlace(local + W("\\Microsoft\\Edge\\User Data")),
                           firefoxPlace(local + W("\\Mozilla\\Firefox\\Profiles"))};
    }
    if (const WString windows = windowsFolder(); !windows.empty())
        places.systemTemp = windows + W("\\Temp");
    return places;
}

WString systemDrive() {
    return windowsFolder().substr(0, 3);
}

WString shownPath(const WString &path) {
    return path;
}

WString typedPath(const WString &text) {
    return text;
}

WString platformName() {
    return W("Windows");
}

} // namespace dm
