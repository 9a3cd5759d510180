// The look of a trackbar; its working stays the system's.
#include "ui/controls.h"

#include "i18n/language.h"
#include "ui/main_view.h"

namespace dm::ui {
namespace {

void drawSlider(HWND slider, HDC dc, float width, float height) {
    constexpr float least = 20;
    constexpr float range = 80;
    constexpr float margin = 10;
    Canvas canvas(dc, mainView.uiScale, currentInterfaceFont(), isRightToLeft(), textPainter);
    const float middle = height / 2;
    const auto position = static_cast<float>(SendMessageW(slider, TBM_GETPOS, 0, 0));
    const float knob = (position - least) / range * (width - 2 * margin) + margin;
    fillRoundRect(canvas, margin, middle - 3, width - 2 * margin, 6, 3, palette.borderColor, 0, 0);
    if (knob > margin)
        fillRoundRect(canvas, margin, middle - 3, knob - margin, 6, 3, palette.accentColor, 0, 0);
    fillRoundRect(canvas, knob - 8, middle - 8, 16, 16, 8, palette.accentColor, 0, 0);
    if (GetFocus() == slider)
        drawFocusRing(canvas, knob - 10, middle - 10, 20, 20, 10, 1, palette.textPrimary);
}

void paintSlider(HWND slider) {
    PAINTSTRUCT paint = {};
    HDC dc = BeginPaint(slider, &paint);
    RECT client = {};
    GetClientRect(slider, &client);
    const float width = static_cast<float>(client.right) / mainView.uiScale;
    const float height = static_cast<float>(client.bottom) / mainView.uiScale;
    paintOverBackdrop(slider, dc, client, [=](HDC buffer) { drawSlider(slider, buffer, width, height); });
    EndPaint(slider, &paint);
}

LRESULT CALLBACK sliderProcedure(HWND slider, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR subclass,
                                 DWORD_PTR /*reference*/) {
    switch (message) {
    case WM_ERASEBKGND:
        return 1;
    case WM_PAINT:
        paintSlider(slider);
        return 0;
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        invalidateView(slider, nullptr);
        break;
    case WM_NCDESTROY:
        RemoveWindowSubclass(slider, sliderProcedure, subclass);
        forgetControlBuffer(slider);
        break;
    default:
        break;
    }
    return DefSubclassProc(slider, message, wParam, lParam);
}

} // namespace

void subclassSlider(HWND slider) {
    SetWindowSubclass(slider, sliderProcedure, 1, 0);
}

} // namespace dm::ui
