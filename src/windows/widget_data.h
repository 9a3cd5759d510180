// What the files of the widget share; of no use to others.
#pragma once

#include "platform/win32.h"
#include "ui/canvas.h"

#include <array>

namespace dm {

/// The buttons' ids.
namespace widget_id {
inline constexpr int open = 9101;
inline constexpr int hide = 9102;
inline constexpr int scan = 9103;
} // namespace widget_id

inline constexpr int widgetButtonCount = 3;

/// How a button stands to the pointer and the keys.
struct WidgetButton {
    bool hot = false;
    bool pressed = false;
};

struct WidgetData {
    float scale = 1;
    float dpiScale = 1;
    HFONT font = nullptr;  ///< of the buttons
    bool ownsData = false; ///< the window frees the record
    int firstRow = 0;      ///< the first drive shown
    int heightDips = 0;
    int visibleRows = 1; ///< 1 to 5
    std::array<WidgetButton, widgetButtonCount> buttonState;
    ui::BackBuffer buffer; ///< the whole window
    std::array<ui::BackBuffer, widgetButtonCount> buttonBuffers;
};

SIZE clientSize(HWND window);

/// Answers WM_PAINT: paints the window with its buttons and shows it with its shape and opacity.
void paintWidget(HWND window, WidgetData &data);

} // namespace dm
