#include "windows/pages.h"

#include "i18n/language.h"
#include "ui/canvas.h"
#include "ui/layout.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "windows/page_parts.h"

#include <array>

namespace dm {

using ui::mainView;
using ui::PageId;

namespace {

constexpr std::array<PageTitle, 4> pageTitles = {{
    {W("Очистка ПК"), W("Освободите место на компьютере")},
    {W("Место на диске"), W("Свободное и занятое место")},
    {W("Справка"), W("Понятная очистка: сначала анализ, затем выбор")},
    {W("Настройки"), W("Внешний вид и поведение приложения")},
}};

void fillBackgrounds(HDC dc, int width, int height, float sidebarWidth) {
    ui::fillRect(dc, {0, 0, width, height}, ui::palette.windowBackground);
    const RECT sidebar = ui::placedRect(0, 0, sidebarWidth, 0, mainView.uiScale);
    ui::fillRect(dc, {0, 0, sidebar.right, height}, ui::palette.sidebarBackground);
}

void paintBody(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    switch (mainView.currentPage) {
    case PageId::Cleanup:
        return paintCleanupPage(canvas, metrics);
    case PageId::DiskSpace:
        return paintDiskPage(canvas, metrics);
    case PageId::Help:
        return paintHelpPage(canvas, metrics);
    case PageId::Settings:
        return paintSettingsPage(canvas, metrics);
    }
}

} // namespace

void paintPage(HDC dc, int width, int height) {
    const ui::LayoutMetrics metrics = ui::computeMetrics(width, height, mainView.uiScale);
    fillBackgrounds(dc, width, height, metrics.sidebarWidth);
    ui::Canvas canvas(dc, mainView.uiScale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
    paintFrame(canvas, metrics);
    paintBody(canvas, metrics);
    paintStatusStrip(canvas, metrics);
}

PageTitle pageTitle(PageId page) {
    return pageTitles[static_cast<std::size_t>(page)];
}

const WChar *statusLabel(const OperationState &state) {
    if (state.busy)
        return W("Выполняется…");
    return state.hasScanResult ? W("Результаты готовы") : W("Готово к анализу");
}

} // namespace dm
