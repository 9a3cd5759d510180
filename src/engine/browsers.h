// Whether one of this user's browsers is running, and the polite request to close.
//
// Every doubt counts as a running browser, which keeps the caches untouched. No process is ever terminated.
#pragma once

#include "platform/text.h"

#include <cstdint>
#include <vector>

namespace dm {

/// One process of a known browser; a browser has many.
struct BrowserProcess {
    std::uint32_t processId;
    WString displayName; ///< "Google Chrome", "Microsoft Edge" or "Mozilla Firefox"
};

/// The browser processes of this user's session. `status` tells whether the whole process list could be read; what was
/// found before a failure stays in the list.
std::vector<BrowserProcess> listUserBrowsers(bool &status);

/// The display names without duplicates, in order of first sight. Where the process list could not be read, the one
/// text "Browser status unavailable": not empty means that a browser must be taken to run.
std::vector<WString> runningBrowserNames();

/// Posts a close request to every visible window without an owner of the browsers found. True if no browser runs or at
/// least one window was asked; false if the process list could not be read or no window could be asked.
bool askBrowsersToClose();

} // namespace dm
