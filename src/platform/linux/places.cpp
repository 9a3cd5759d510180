#include "platform/places.h"

#include "platform/linux/path_text.h"
#include "platform/linux/scan_paths.h"
#include "platform/linux/utf8.h"
#include "platform/linux/volumes.h"

#include <initializer_list>

namespace dm {

namespace platform {

namespace {

/// Chromium and what is built on it keep the two large caches of a profile below the cache home, at the profile's path
/// below the configuration home, and the third one in the profile itself.
BrowserPaths chromiumPaths(const std::string &config, const std::string &cache) {
    return {config, ProfileNames::Chromium, {{cache, "Cache"}, {cache, "Code Cache"}, {config, "GPUCache"}}};
}

BrowserPaths firefoxPaths(const std::string &cache) {
    return {cache, ProfileNames::Any, {{cache, "cache2"}}};
}

} // namespace

std::vector<BrowserPaths> browserPaths(const BaseFolders &folders) {
    std::vector<BrowserPaths> browsers;
    const auto addInstalled = [&](std::initializer_list<const char *> names) {
        for (const char *name : names)
            browsers.push_back(chromiumPaths(joinPath(folders.configHome, name), joinPath(folders.cacheHome, name)));
    };
    const auto addFlatpak = [&](const std::string &application, const std::string &name) {
        const std::string home = joinPath(folders.home, ".var/app/" + application);
        browsers.push_back(chromiumPaths(home + "/config/" + name, home + "/cache/" + name));
    };
    const std::string chromiumSnap = joinPath(folders.home, "snap/chromium/common");

    addInstalled({"google-chrome", "google-chrome-beta", "google-chrome-unstable"});
    addFlatpak("com.google.Chrome", "google-chrome");
    addInstalled({"chromium"});
    browsers.push_back(chromiumPaths(chromiumSnap + "/chromium", chromiumSnap + "/.cache/chromium"));
    addFlatpak("org.chromium.Chromium", "chromium");
    addInstalled({"microsoft-edge", "microsoft-edge-beta", "microsoft-edge-dev"});
    addFlatpak("com.microsoft.Edge", "microsoft-edge");
    browsers.push_back(firefoxPaths(joinPath(folders.cacheHome, "mozilla/firefox")));
    browsers.push_back(firefoxPaths(joinPath(folders.home, "snap/firefox/common/.cache/mozilla/firefox")));
    browsers.push_back(firefoxPaths(joinPath(folders.home, ".var/app/org.mozilla.firefox/cache/mozilla/firefox")));
    return browsers;
}

std::vector<std::string> scannedPaths(const BaseFolders &folders) {
    std::vector<std::string> paths = {userTempPath, systemTempPath};
    for (const BrowserPaths &browser : browserPaths(folders))
        for (const CachePath &cache : browser.caches)
            paths.push_back(cache.parent + "/*/" + cache.name);
    return paths;
}

namespace {

/// With U+FFFD for every byte that is no valid UTF-8.
WString readable(std::string_view path) {
    WString text;
    for (std::size_t at = 0; at < path.size();) {
        char32_t value = 0;
        const std::size_t length = decodeUtf8(path, at, value);
        if (length == 0) {
            text.push_back(u'\uFFFD');
        } else if (value > 0xFFFF) {
            text.push_back(highSurrogateOf(value));
            text.push_back(lowSurrogateOf(value));
        } else {
            text.push_back(static_cast<WChar>(value));
        }
        at += length == 0 ? 1 : length;
    }
    return text;
}

/// False for a text with unpaired surrogates or a null, which nobody can have typed.
bool bytesOf(WStringView text, std::string &bytes) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const WChar unit = text[at];
        const bool isPair = isHighSurrogate(unit) && at + 1 < text.size() && isLowSurrogate(text[at + 1]);
        if (unit == 0 || (!isPair && (isHighSurrogate(unit) || isLowSurrogate(unit))))
            return false;
        appendUtf8(isPair ? joinSurrogates(unit, text[++at]) : unit, bytes);
    }
    return true;
}

/// What no volume holds is left out.
std::vector<BrowserPlace> browserPlaces() {
    std::vector<BrowserPlace> places;
    for (const BrowserPaths &browser : browserPaths(baseFolders())) {
        BrowserPlace place{drivePath(browser.profiles), browser.profileNames, {}};
        for (const CachePath &cache : browser.caches)
            if (WString parent = drivePath(cache.parent); !parent.empty())
                place.caches.push_back({std::move(parent), readable(cache.name)});
        if (!place.profiles.empty() && !place.caches.empty())
            places.push_back(std::move(place));
    }
    return places;
}

} // namespace

} // namespace platform

using namespace platform;

ScanPlaces scanPlaces() {
    refreshVolumes();
    return {drivePath(userTempPath), browserPlaces(), drivePath(systemTempPath)};
}

WString shownPath(const WString &path) {
    const std::string shown = linuxPathToShow(path);
    return shown.empty() ? path : readable(shown);
}

WString typedPath(const WString &text) {
    std::string bytes;
    if (!bytesOf(text, bytes))
        return text;
    if (bytes == "~" || bytes.starts_with("~/"))
        bytes.replace(0, 1, baseFolders().home);
    if (!bytes.starts_with('/'))
        return text;
    // What was just plugged in has its letter only now.
    refreshVolumes();
    const WString path = drivePath(cleanPath(bytes));
    return path.empty() ? text : path;
}

WString systemDrive() {
    return W("C:\\");
}

WString platformName() {
    return W("Linux");
}

} // namespace dm
