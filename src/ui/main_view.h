// What the drawing layer and the theme know of the main window, which keeps it true.
#pragma once

#include "core/records.h"
#include "data/settings.h"
#include "platform/win32.h"

#include <functional>
#include <map>

namespace dm::ui {

/// The main window's controls by their ids.
using ControlTable = std::map<int, HWND>;

enum class PageId { Cleanup = 0, DiskSpace = 1, Help = 2, Settings = 3 };

struct MainView {
    HWND window = nullptr;           ///< null before it is made and once it is gone
    HWND largeFilesWindow = nullptr; ///< the only other window that paints by generations
    ControlTable controls;
    float uiScale = 1;  ///< pixels for each DIP
    float dpiScale = 1; ///< the window's DPI over 96
    Settings settings;
    PageId currentPage = PageId::Cleanup;
    CleanSelection selection{.temp = true, .browser = true, .recycleBin = true};
    bool hiddenInArea = false; ///< in the notification area
    bool hidePending = false;  ///< a hide to the notification area waits for the end of a dialog
    bool smokeQuit = false;
    /// Paints the current page into the buffer's device context, of this size in pixels, with queueText for the texts.
    std::function<void(HDC dc, int width, int height)> paintPage;
    /// Brings the desktop widget up to date; every layout of the main window ends with it.
    std::function<void()> refreshWidget;
};

/// One a process, on the windows' thread.
extern MainView mainView;

} // namespace dm::ui
