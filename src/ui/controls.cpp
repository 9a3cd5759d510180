#include "ui/controls.h"

#include "i18n/language.h"
#include "ui/animation.h"
#include "ui/main_view.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace dm::ui {

std::map<int, ControlState> controlStates;

namespace {

struct ControlRow {
    int id;
    ControlKind kind;
    const WChar *label; ///< a source text
};

/// In the order of the keys.
const std::array<ControlRow, 30> &controlRows() {
    static const std::array<ControlRow, 30> rows = {{
        {id::cleanupPage, ControlKind::Navigation, W("Очистка ПК")},
        {id::diskPage, ControlKind::Navigation, W("Место на диске")},
        {id::helpPage, ControlKind::Navigation, W("Справка")},
        {id::website, ControlKind::Navigation, W("Наш сайт")},
        {id::settingsPage, ControlKind::Navigation, W("Настройки")},
        {id::scan, ControlKind::Plain, W("Начать анализ")},
        {id::clean, ControlKind::Primary, W("Очистить")},
        {id::cancel, ControlKind::Plain, W("Отменить")},
        {id::viewFiles, ControlKind::Plain, W("Просмотреть файлы  ›")},
        {id::details, ControlKind::Plain, W("Подробнее")},
        {id::temporaryFiles, ControlKind::CategoryRow, W("Временные файлы")},
        {id::browserCache, ControlKind::CategoryRow, W("Кэш браузеров")},
        {id::recycleBin, ControlKind::CategoryRow, W("Корзина")},
        {id::closeBrowsers, ControlKind::Toggle, W("Закрывать браузеры")},
        {id::skipFilesInUse, ControlKind::Toggle, W("Пропускать занятые файлы")},
        {id::analytics, ControlKind::Toggle, W("Необязательная аналитика")},
        {id::widget, ControlKind::Toggle, W("Виджет на рабочем столе")},
        {id::history, ControlKind::Plain, W("Открыть историю операций")},
        {id::largeFiles, ControlKind::Plain, W("Найти большие файлы")},
        {id::opacity, ControlKind::Slider, W("Непрозрачность виджета")},
        {id::themeSystem, ControlKind::Segment, W("Как в системе")},
        {id::themeLight, ControlKind::Segment, W("Светлая")},
        {id::themeDark, ControlKind::Segment, W("Тёмная")},
        {id::firstAccent, ControlKind::Swatch, accents[0].label},
        {id::firstAccent + 1, ControlKind::Swatch, accents[1].label},
        {id::firstAccent + 2, ControlKind::Swatch, accents[2].label},
        {id::firstAccent + 3, ControlKind::Swatch, accents[3].label},
        {id::firstAccent + 4, ControlKind::Swatch, accents[4].label},
        {id::firstAccent + 5, ControlKind::Swatch, accents[5].label},
        {id::language, ControlKind::LanguageList, W("")},
    }};
    return rows;
}

const ControlRow &rowOf(int id) {
    const auto &rows = controlRows();
    return *std::find_if(rows.begin(), rows.end(), [id](const ControlRow &row) { return row.id == id; });
}

DWORD styleOf(ControlKind kind) {
    switch (kind) {
    case ControlKind::Slider:
        return TBS_NOTICKS;
    case ControlKind::LanguageList:
        return CBS_DROPDOWNLIST | CBS_OWNERDRAWFIXED | CBS_HASSTRINGS | WS_VSCROLL;
    default:
        return BS_OWNERDRAW;
    }
}

const WChar *classOf(ControlKind kind) {
    switch (kind) {
    case ControlKind::Slider:
        return W("msctls_trackbar32");
    case ControlKind::LanguageList:
        return W("COMBOBOX");
    default:
        return W("BUTTON");
    }
}

/// Source texts by id.
std::map<int, const WChar *> labels;

void repaint(HWND control) {
    invalidateView(control, nullptr);
    startAnimationTimer();
}

void setPressed(HWND button, int id, bool pressed) {
    controlState(id).pressed = pressed;
    repaint(button);
}

void enter(HWND button, int id) {
    ControlState &state = controlState(id);
    if (state.hot)
        return;
    state.hot = true;
    TRACKMOUSEEVENT track = {};
    track.cbSize = sizeof(track);
    track.dwFlags = TME_LEAVE;
    track.hwndTrack = button;
    TrackMouseEvent(&track);
    repaint(button);
}

void leave(HWND button, int id) {
    controlState(id).hot = false;
    setPressed(button, id, false);
}

void forget(HWND button, int id) {
    controlStates.erase(id);
    forgetControlBuffer(button);
}

/// Notes what the pointer and the keys do; clicks stay the system button's.
LRESULT CALLBACK buttonProcedure(HWND button, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR subclass,
                                 DWORD_PTR reference) {
    const int id = static_cast<int>(reference);
    switch (message) {
    case WM_ERASEBKGND:
        return 1;
    case WM_MOUSEMOVE:
        enter(button, id);
        break;
    case WM_MOUSELEAVE:
        leave(button, id);
        break;
    case WM_LBUTTONDOWN:
        setPressed(button, id, true);
        break;
    case WM_KEYDOWN:
        if (wParam == VK_SPACE || wParam == VK_RETURN)
            setPressed(button, id, true);
        break;
    case WM_KILLFOCUS:
    case WM_CANCELMODE:
    case WM_KEYUP:
    case WM_LBUTTONUP:
    case WM_CAPTURECHANGED:
        setPressed(button, id, false);
        break;
    case WM_NCDESTROY:
        RemoveWindowSubclass(button, buttonProcedure, subclass);
        forget(button, id);
        break;
    default:
        break;
    }
    return DefSubclassProc(button, message, wParam, lParam);
}

} // namespace

ControlKind controlKind(int id) {
    return rowOf(id).kind;
}

const WChar *controlLabel(int id) {
    return rowOf(id).label;
}

ControlState &controlState(int id) {
    const auto [entry, made] = controlStates.try_emplace(id);
    if (made && isToggleOn(id))
        entry->second.toggleLevel = 1;
    return entry->second;
}

void createMainControls() {
    constexpr int leastOpacity = 20;
    constexpr int mostOpacity = 100;
    for (const ControlRow &row : controlRows())
        createMainControl(row.id, row.label, classOf(row.kind), styleOf(row.kind));
    subclassSlider(mainControl(id::opacity));
    SendMessageW(mainControl(id::opacity), TBM_SETRANGE, TRUE, MAKELPARAM(leastOpacity, mostOpacity));
    setLanguageListHeights();
}

void createMainControl(int id, const WChar *label, const WChar *className, DWORD style) {
    labels[id] = label;
    HWND control = CreateWindowExW(0, className, tr(label).c_str(), style | WS_CHILD | WS_CLIPSIBLINGS | WS_TABSTOP, 0,
                                   0, 0, 0, mainView.window, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                                   GetModuleHandleW(nullptr), nullptr);
    if (control == nullptr)
        return;
    mainView.controls[id] = control;
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(controlFonts.baseFont), FALSE);
    if (WStringView(className) == W("BUTTON"))
        SetWindowSubclass(control, buttonProcedure, 1, static_cast<DWORD_PTR>(id));
}

HWND mainControl(int id) {
    const auto control = mainView.controls.find(id);
    return control == mainView.controls.end() ? nullptr : control->second;
}

void setEnabled(int id, bool enabled) {
    HWND control = mainControl(id);
    if ((IsWindowEnabled(control) != FALSE) != enabled)
        EnableWindow(control, enabled ? TRUE : FALSE);
}

WString windowText(HWND window) {
    WString text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, 0);
    text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
    return text;
}

void setTextIfChanged(HWND window, const WString &text) {
    if (windowText(window) != text)
        SetWindowTextW(window, text.c_str());
}

void retranslateControls() {
    for (const auto &[id, label] : labels) {
        if (id != id::language)
            setTextIfChanged(mainControl(id), tr(label));
    }
}

} // namespace dm::ui
