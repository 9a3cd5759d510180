// What the main window's buffer shows: the sidebar, the header, the four pages and the status strip.
#pragma once

#include "core/operations.h"
#include "platform/text.h"
#include "platform/win32.h"
#include "ui/main_view.h"

namespace dm {

/// Paints the current page into a device context of this size in pixels; the texts through queueText.
void paintPage(HDC dc, int width, int height);

/// The part of the settings page that shows the widget's opacity, in pixels.
RECT opacityBand();

struct PageTitle {
    const WChar *title;
    const WChar *subtitle;
};

/// Source texts.
PageTitle pageTitle(ui::PageId page);
/// What the pill beside the title says; a source text.
const WChar *statusLabel(const OperationState &state);

} // namespace dm
