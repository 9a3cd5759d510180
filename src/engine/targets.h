// The places that the engine may look in and delete from. Nobody can add to them.
#pragma once

#include "core/records.h"
#include "platform/text.h"

#include <vector>

namespace dm {

/// The folders of a scan in their order: the user's temp folder, the caches of each browser's profiles, the system's
/// temp folder. They need not exist. Built afresh at each call.
std::vector<ScanTarget> listScanTargets();

/// The names of the folder's plain subfolders, in the order of the listing; none if the folder cannot be pinned.
std::vector<WString> listSubfolders(WStringView folder);

/// Whether Chrome and its kin use a folder of this name for a profile: "Default", "Guest Profile", or "Profile "
/// followed by ASCII digits. Case does not matter.
bool isChromiumProfileName(WStringView name);

} // namespace dm
