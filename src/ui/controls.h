// The main window's controls: real child windows, so that focus, tab order and screen readers are the system's work,
// but painted by the program.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"
#include "ui/canvas.h"

#include <functional>
#include <map>

namespace dm::ui {

/// The controls' ids, which are fixed, gaps included.
namespace id {
inline constexpr int cleanupPage = 101;
inline constexpr int diskPage = 102;
inline constexpr int helpPage = 103;
inline constexpr int website = 104;
inline constexpr int settingsPage = 105;
inline constexpr int scan = 120;
inline constexpr int clean = 121;
inline constexpr int cancel = 122;
inline constexpr int viewFiles = 123;
inline constexpr int details = 124;
inline constexpr int temporaryFiles = 125;
inline constexpr int browserCache = 126;
inline constexpr int recycleBin = 127;
inline constexpr int closeBrowsers = 128;
inline constexpr int skipFilesInUse = 129;
inline constexpr int analytics = 130;
inline constexpr int history = 136;
inline constexpr int widget = 139;
inline constexpr int opacity = 140;
inline constexpr int largeFiles = 141;
inline constexpr int themeSystem = 160;
inline constexpr int themeLight = 161;
inline constexpr int themeDark = 162;
inline constexpr int firstAccent = 170;
inline constexpr int lastAccent = 175;
inline constexpr int language = 180;
} // namespace id

enum class ControlKind { Plain, Primary, Navigation, CategoryRow, Toggle, Segment, Swatch, Slider, LanguageList };

/// Of a control with one of these ids.
ControlKind controlKind(int id);
/// A source text of the catalogue.
const WChar *controlLabel(int id);

/// How a control stands to the pointer and the keys, with the levels (0 to 1) that follow it in the animation.
struct ControlState {
    bool hot = false;
    bool pressed = false;
    float hotLevel = 0;
    float pressLevel = 0;
    float toggleLevel = 0; ///< follows a toggle's setting
};

/// Made by the first message or paint of a control, gone with it.
extern std::map<int, ControlState> controlStates;
ControlState &controlState(int id);

/// Makes all controls of the main window, in the order of the keys. None is visible before a layout.
void createMainControls();
/// Makes one; `label` is a source text of the catalogue. One that cannot be made is left out of the table.
void createMainControl(int id, const WChar *label, const WChar *className, DWORD style);
/// Null for a control that does not exist.
HWND mainControl(int id);

void setEnabled(int id, bool enabled);
WString windowText(HWND window);
void setTextIfChanged(HWND window, const WString &text);
/// Puts the labels in the current language on the controls.
void retranslateControls();
/// The height of its field and of its items.
void setLanguageListHeights();
/// Fills the list in the current language and selects the language setting.
void fillLanguageList();

/// Whether the setting that a toggle stands for is on.
bool isToggleOn(int id);
/// Whether the category of a row is selected for the clean-up.
bool isCategorySelected(int id);
/// Whether the setting has the value that a segment or swatch stands for.
bool isChosen(int id);
/// The accent of a swatch.
const Accent &accentOf(int id);
/// Bytes that the last scan found in the category of a row, in all categories, and in the selected ones.
std::uint64_t categoryBytes(int id);
std::uint64_t foundBytes();
std::uint64_t selectedBytes();
/// The window text, and so what a screen reader says, of a control with a state; empty for one that keeps its label.
WString spokenText(int id);

struct ControlColors {
    Argb fill;
    Argb border; ///< 0 for none
    Argb text;
};

/// Of an enabled control; `active` for the current page and what is selected or chosen. Levels 0 to 1.
ControlColors controlColors(int id, bool active, float hover, float press);
ControlColors disabledColors();

/// Answers WM_DRAWITEM.
void paintOwnerDrawControl(const DRAWITEMSTRUCT &item);
/// Draws an item of the language list, or its field, straight to the item's device context.
void drawLanguageItem(const DRAWITEMSTRUCT &item);
/// Paints a child of the main window off screen, over what lies under it there, and copies it to `rect` of `dc`. The
/// drawing gets a device context with (0, 0) for the corner; texts that it queues come last.
void paintOverBackdrop(HWND control, HDC dc, const RECT &rect, const std::function<void(HDC)> &draw);
/// Frees what is kept for painting a control.
void forgetControlBuffer(HWND control);

/// The dotted ring of a focused control, in DIPs.
void drawFocusRing(Canvas &canvas, float x, float y, float w, float h, float r, float penWidth, Argb color);

/// Lets the program paint a trackbar that is a child of the main window.
void subclassSlider(HWND slider);

} // namespace dm::ui
