// The list of interface languages, each under its own name and in its own font.
#include "ui/controls.h"

#include "i18n/language.h"
#include "ui/layout.h"
#include "ui/main_view.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace dm::ui {
namespace {

bool isSystem(const LanguageChoice &choice) {
    return choice.code == "system";
}

WString nameOf(const LanguageChoice &choice) {
    return isSystem(choice) ? tr(W("Определять автоматически")) : WString(choice.name);
}

LRESULT inPixels(float dips) {
    return static_cast<LRESULT>(std::trunc(dips * mainView.uiScale + 0.5F));
}

TextRun runOf(const LanguageChoice &choice, const RECT &item) {
    constexpr float margin = 12;
    constexpr float size = 15;
    constexpr float leastSize = 11.5F;
    TextRun run;
    run.text = nameOf(choice);
    run.fontFamily = isSystem(choice) ? currentInterfaceFont() : interfaceFontFor(std::string(choice.code));
    run.rect = item;
    run.rect.left += scaledPixels(margin, mainView.uiScale);
    run.rect.right -= scaledPixels(margin, mainView.uiScale);
    run.color = toColorRef(palette.textPrimary);
    run.pixelSize = scaledPixels(size, mainView.uiScale);
    run.minPixelSize = scaledPixels(leastSize, mainView.uiScale);
    run.centerVertically = true;
    run.singleLine = true;
    run.drawFlags = choice.code == "ar" ? DT_RIGHT | DT_RTLREADING : DT_LEFT;
    return run;
}

} // namespace

void setLanguageListHeights() {
    HWND list = mainControl(id::language);
    SendMessageW(list, CB_SETITEMHEIGHT, static_cast<WPARAM>(-1), inPixels(31));
    SendMessageW(list, CB_SETITEMHEIGHT, 0, inPixels(30));
}

void fillLanguageList() {
    HWND list = mainControl(id::language);
    const auto &choices = languageList();
    SendMessageW(list, CB_RESETCONTENT, 0, 0);
    for (const LanguageChoice &choice : choices)
        SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(nameOf(choice).c_str()));
    const auto isCurrent = [](const LanguageChoice &choice) { return choice.code == mainView.settings.language; };
    const auto current = std::find_if(choices.begin(), choices.end(), isCurrent);
    SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(current - choices.begin()), 0);
}

void drawLanguageItem(const DRAWITEMSTRUCT &item) {
    const bool selected = (item.itemState & ODS_SELECTED) != 0;
    fillRect(item.hDC, item.rcItem, selected ? palette.accentTint : palette.cardBackground);
    const auto &choices = languageList();
    if (item.itemID >= choices.size()) // -1 where nothing is selected
        return;
    TextRun run = runOf(choices[item.itemID], item.rcItem);
    drawTextRun(textPainter, item.hDC, run);
    if (item.itemState == ODS_FOCUS) {
        constexpr int inset = 2;
        const RECT &all = item.rcItem;
        const RECT ring = {all.left + inset, all.top + inset, all.right - inset, all.bottom - inset};
        DrawFocusRect(item.hDC, &ring);
    }
}

} // namespace dm::ui
