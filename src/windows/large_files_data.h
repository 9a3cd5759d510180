// What the files of the large-files window share; of no use to others.
#pragma once

#include "large/recycle.h"
#include "large/search.h"
#include "platform/text.h"
#include "platform/win32.h"
#include "ui/canvas.h"
#include "windows/large_list.h"

#include <array>
#include <cstdint>
#include <map>
#include <vector>

namespace dm {

/// The controls' ids.
namespace large_id {
inline constexpr int folder = 9201;
inline constexpr int chooseFolder = 9202;
inline constexpr int minimumSize = 9203;
inline constexpr int search = 9204;
inline constexpr int cancel = 9205;
inline constexpr int list = 9206;
inline constexpr int move = 9207;
inline constexpr int open = 9208;
} // namespace large_id

struct LargeFilesData {
    float scale = 1;    ///< of the layout; below the screen's where the window is smaller than its least size
    float dpiScale = 1; ///< the screen's
    HFONT listFont = nullptr;
    bool ownsData = false;            ///< the window frees the record
    bool closeAfterOperation = false; ///< the user closed the window while its operation ran
    bool hasResult = false;           ///< a search has ended in this window
    bool fillingList = false;         ///< changes of the selection are the program's own
    bool painting = false;
    std::uint64_t paintedGeneration = 0; ///< what the back buffer shows
    LargeOrder order;
    large::LargeSearchResult search;
    large::RecycleResult recycle; ///< of the last move
    LargeRows rows;
    WString cellText; ///< what the list was given last, which it does not copy
    ui::BackBuffer backBuffer;
    std::array<ui::BackBuffer, 2> headerBuffers;
    std::map<int, ui::BackBuffer> buttonBuffers;
};

/// Null for a window that is gone or of another kind.
LargeFilesData *largeDataOf(HWND window);
HWND largeControl(HWND window, int id);

/// The window's own operation runs.
bool runsOwnOperation(HWND window);
/// Nothing runs and the program is not about to end.
bool mayStartOperation();

/// The entries of the selected rows, in the order of the rows.
std::vector<std::uint64_t> selectedEntries(HWND window, const LargeFilesData &data);
/// Sorts the rows and shows them with these entries selected.
void sortAndFillList(HWND window, LargeFilesData &data, const std::vector<std::uint64_t> &keepSelected);

/// Font, texts, colours and reading direction as they are to be now.
void applyLargeWindowTexts(HWND window, LargeFilesData &data);
void layoutLargeWindow(HWND window, const LargeFilesData &data);

/// Brings the back buffer up to date, if anything has changed since.
void paintLargeWindow(HWND window, LargeFilesData &data);
/// Answers WM_DRAWITEM of a button.
void drawLargeButton(HWND window, LargeFilesData &data, const DRAWITEMSTRUCT &item);

/// Lets the user pick the folder to search.
void chooseLargeFolder(HWND window);
/// Opens the folder of the first selected row, with the file selected in it where the desktop can do that.
void openSelectedLocation(HWND window, const LargeFilesData &data);

} // namespace dm
