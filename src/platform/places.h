// What differs by home beyond Win32 itself: where things lie and how a person reads a path.
#pragma once

#include "platform/text.h"

#include <vector>

namespace dm {

/// How the folders below a browser's profiles folder are told to be profiles.
enum class ProfileNames {
    Chromium, ///< "Default", "Guest Profile" and "Profile " with a number
    Any,      ///< every plain subfolder
};

/// A kind of cache inside a profile: `parent`, a backslash, the profile's name, a backslash and `name`.
struct CachePlace {
    WString parent;
    WString name;
};

/// One installation of a browser.
struct BrowserPlace {
    WString profiles; ///< the folder whose subfolders are the profiles
    ProfileNames profileNames;
    std::vector<CachePlace> caches; ///< in the order in which they are scanned
};

/// The fixed places that a scan looks in; what is empty or missing is left out.
struct ScanPlaces {
    WString userTemp;
    std::vector<BrowserPlace> browsers;
    WString systemTemp;
};

/// Paths are normalised; nothing is looked up on the disk.
ScanPlaces scanPlaces();

/// The root of the drive that the system is on.
WString systemDrive();

/// A path as a person reads it.
WString shownPath(const WString &path);
/// A path as a person typed it, turned into the program's form; what cannot be turned comes back as it is.
WString typedPath(const WString &text);
/// The platform's name as it stands behind the version.
WString platformName();

} // namespace dm
