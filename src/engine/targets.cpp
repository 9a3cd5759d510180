#include "engine/targets.h"

#include "engine/identity.h"
#include "engine/paths.h"
#include "platform/places.h"
#include "platform/win32.h"

#include <algorithm>

namespace dm {

namespace {

WString childOf(const WString &folder, const WString &name) {
    WString path = folder;
    if (path.back() != W('\\'))
        path += W('\\');
    return path += name;
}

void addTemp(std::vector<ScanTarget> &targets, const WString &folder) {
    if (!folder.empty())
        targets.push_back({folder, CleanCategory::Temp, true});
}

void addCaches(std::vector<ScanTarget> &targets, const BrowserPlace &browser) {
    if (browser.profiles.empty())
        return;
    for (const WString &profile : listSubfolders(browser.profiles)) {
        if (browser.profileNames == ProfileNames::Chromium && !isChromiumProfileName(profile))
            continue;
        for (const CachePlace &cache : browser.caches) {
            if (cache.parent.empty() || cache.name.empty())
                continue;
            targets.push_back({childOf(childOf(cache.parent, profile), cache.name), CleanCategory::Browser, false});
        }
    }
}

} // namespace

std::vector<ScanTarget> listScanTargets() {
    const ScanPlaces places = scanPlaces();
    std::vector<ScanTarget> targets;
    addTemp(targets, places.userTemp);
    for (const BrowserPlace &browser : places.browsers)
        addCaches(targets, browser);
    addTemp(targets, places.systemTemp);
    return targets;
}

std::vector<WString> listSubfolders(WStringView folder) {
    std::vector<WString> names;
    PinnedPath pinned;
    if (!pinPath(pinned, folder))
        return names;
    WIN32_FIND_DATAW found;
    const OwnedSearch search(FindFirstFileExW(toExtendedPath(childOf(pinned.finalPath, W("*"))).c_str(),
                                              FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0));
    if (!search)
        return names;
    do {
        const WStringView name = found.cFileName;
        if (isPlainFolder(found.dwFileAttributes) && name != W(".") && name != W(".."))
            names.emplace_back(name);
    } while (FindNextFileW(search.get(), &found));
    return names;
}

bool isChromiumProfileName(WStringView name) {
    if (equalsIgnoreCase(name, W("Default")) || equalsIgnoreCase(name, W("Guest Profile")))
        return true;
    const WStringView prefix = W("Profile ");
    if (name.size() <= prefix.size() || !equalsIgnoreCase(name.substr(0, prefix.size()), prefix))
        return false;
    return std::all_of(name.begin() + prefix.size(), name.end(),
                       [](WChar unit) { return unit >= W('0') && unit <= W('9'); });
}

} // namespace dm
