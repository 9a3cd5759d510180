// The page of the settings: what stands around its controls.
#include "i18n/format.h"
#include "i18n/language.h"
#include "ui/main_view.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "windows/page_parts.h"
#include "windows/pages.h"

#include <algorithm>

namespace dm {

using ui::mainView;
using ui::palette;

namespace {

// The row of the widget's opacity.
constexpr float opacityTop = 508;
constexpr float opacityHeight = 28;
constexpr float percentWidth = 66;
/// The texts at the right end with that of the controls.
constexpr float rightInset = 32;

Box settingsCard(const ui::LayoutMetrics &m, float top, float height) {
    return {m.contentLeft, top, m.width - m.contentLeft - 25, height};
}

/// The label in front of a row of controls.
void paintRowLabel(const WChar *source, const Box &card, float top, float height) {
    queueLabel(source, {card.x + 26, top, 192 - 26 - 10, height}, 15, palette.textMuted, middleText | wrappedText);
}

void paintAppearance(ui::Canvas &canvas, const ui::LayoutMetrics &m) {
    const Box appearance = settingsCard(m, 136, 250);
    drawCardBox(canvas, appearance);
    const float half = (appearance.w - 25 - rightInset) / 2;
    const Box heading = mirrored({appearance.x + 25, 151, half, 30}, appearance);
    queueLabel(W("Внешний вид"), heading, 21, palette.textPrimary, boldText);
    const Box note = mirrored({appearance.x + 25 + half, 151, half, 30}, appearance);
    queueLabel(W("Автосохранение"), note, 13, palette.textMuted, trailingText | middleText);
    paintRowLabel(W("Тема"), appearance, 179, 41);
    paintRowLabel(W("Цвет акцента"), appearance, 239, 42);
    paintRowLabel(W("Язык интерфейса"), appearance, 303, 38);
}

void paintOpacity(const Box &behavior) {
    queueLabel(W("Непрозрачность виджета"), {behavior.x + 31, opacityTop, 190, opacityHeight}, 13, palette.textMuted,
               middleText);
    const WString percent = formatCount(static_cast<std::uint64_t>(mainView.settings.widgetOpacity)) + W("%");
    // The slider stands before it in every language, so it keeps to the right edge.
    const unsigned right = isRightToLeft() ? 0 : trailingText;
    queueFinished(percent,
                  {behavior.x + behavior.w - rightInset - percentWidth, opacityTop, percentWidth, opacityHeight}, 14,
                  palette.textPrimary, boldText | right | middleText);
}

} // namespace

void paintSettingsPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    paintAppearance(canvas, metrics);
    const Box behavior = settingsCard(metrics, 404, 334);
    drawCardBox(canvas, behavior);
    queueLabel(W("Поведение и конфиденциальность"), {behavior.x + 25, 426, behavior.w - 50, 30}, 21,
               palette.textPrimary, boldText);
    paintOpacity(behavior);
}

RECT opacityBand() {
    const ui::LayoutMetrics &metrics = ui::mainMetrics();
    const Box behavior = settingsCard(metrics, 404, 334);
    return ui::placedRect(behavior.x, opacityTop, behavior.w, opacityHeight, mainView.uiScale);
}

} // namespace dm
