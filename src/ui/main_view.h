// What the drawing layer and the theme know of the main window, which keeps it true.
#pragma once

#include "data/settings.h"
#include "platform/win32.h"

#include <functional>
#include <map>

namespace dm::ui {

/// The main window's controls by their ids.
using ControlTable = std::map<int, HWND>;

struct MainView {
    HWND window = nullptr;           ///< null before it is made and once it is gone
    HWND largeFilesWindow = nullptr; ///< the only other window that paints by generations
    ControlTable controls;
    float uiScale = 1; ///< pixels for each DIP
    Settings settings;
    /// Paints the current page into the buffer's device context, of this size in pixels, with queueText for the texts.
    std::function<void(HDC dc, int width, int height)> paintPage;
};

/// One a process, on the windows' thread.
extern MainView mainView;

} // namespace dm::ui
