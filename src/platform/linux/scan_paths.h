// The fixed places of a scan as Linux paths.
#pragma once

#include "platform/linux/base_folders.h"
#include "platform/places.h"

#include <string>
#include <vector>

namespace dm::platform {

/// `parent`, a slash, a profile's name, a slash and `name`.
struct CachePath {
    std::string parent;
    std::string name;
};

struct BrowserPaths {
    std::string profiles;
    ProfileNames profileNames;
    std::vector<CachePath> caches;
};

inline constexpr const char *userTempPath = "/tmp";
inline constexpr const char *systemTempPath = "/var/tmp";

/// In the order in which they are scanned.
std::vector<BrowserPaths> browserPaths(const BaseFolders &folders);

/// Every folder that a scan starts from, with "*" for the name of a profile.
std::vector<std::string> scannedPaths(const BaseFolders &folders);

} // namespace dm::platform
