// The window of the large-file search and of the move of what it found to the Recycle Bin. There is at most one; its
// handle is mainView.largeFilesWindow. It runs no work itself: it gives the operations their input and takes their
// results.
#pragma once

#include "core/operations.h"
#include "large/recycle.h"
#include "large/search.h"
#include "platform/win32.h"

#include <optional>

namespace dm {

/// Brings up the open window or opens one.
void openLargeFiles();

// What the operations ask of it. A window that is none of this kind has nothing to give and takes nothing.

/// The search that its fields ask for; nothing where they are refused, which is told to the user.
std::optional<large::LargeSearchOptions> largeSearchInput(HWND window);
/// The selected files with all that the list knows, once the user has confirmed the move.
std::optional<RecycleInput> recycleInput(HWND window);
/// Shows a search's result. True if the window waited for the end of its operation and is to be destroyed.
bool takeSearchResult(HWND window, large::LargeSearchResult &&result);
/// Drops the rows that were moved and keeps the others selected. True as above.
bool takeRecycleResult(HWND window, const large::RecycleResult &result);
/// Brings the controls in line with what runs and what is selected.
void updateLargeControls(HWND window);
bool isLargeWindowShowing(HWND window);

} // namespace dm
