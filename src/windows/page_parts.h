// What the pages of the main window are painted with. Geometry in DIPs of the main window.
#pragma once

#include "engine/drives.h"
#include "platform/text.h"
#include "ui/canvas.h"
#include "ui/layout.h"

namespace dm {

struct Box {
    float x;
    float y;
    float w;
    float h;
};

// How a text stands in its box; without any of these it is a regular single line at the leading edge of the top.
inline constexpr unsigned boldText = 1;
inline constexpr unsigned wrappedText = 2;
inline constexpr unsigned middleText = 4;  ///< centred in the height
inline constexpr unsigned centredText = 8; ///< centred in the width
inline constexpr unsigned trailingText = 16;

/// Queues a text as it stands.
void queueFinished(WStringView text, const Box &box, float size, ui::Argb color, unsigned style = 0);
/// Queues a source text, translated.
void queueLabel(WStringView source, const Box &box, float size, ui::Argb color, unsigned style = 0);

/// The box, or where it stands within `frame` in a language that is written from right to left.
Box mirrored(const Box &box, const Box &frame);

/// The one card of a page, down to the status strip, with room for a button at its foot.
Box wholeCard(const ui::LayoutMetrics &metrics);
void drawCardBox(ui::Canvas &canvas, const Box &box);
void drawDot(ui::Canvas &canvas, float x, float y, float diameter, ui::Argb color);
/// A ring within the box of the diameter.
void drawRing(ui::Canvas &canvas, float x, float y, float diameter, float penWidth, ui::Argb color);
/// Its part from the top clockwise, 0 to 1 for the whole.
void drawRingPart(ui::Canvas &canvas, float x, float y, float diameter, float penWidth, ui::Argb color, double part);

/// The share of a drive that is in use, 0 to 1.
float usedShare(const DriveInfo &drive);
/// The drive's root as a person reads it, from left to right in every language.
WString driveName(const DriveInfo &drive);
/// "… free"
WString freeText(const DriveInfo &drive);
/// "… free · Total: …"
WString spaceText(const DriveInfo &drive);

// The pages, between frame and strip.

void paintCleanupPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics);
void paintDiskPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics);
void paintHelpPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics);
void paintSettingsPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics);

/// The sidebar, the header and the status pill.
void paintFrame(ui::Canvas &canvas, const ui::LayoutMetrics &metrics);
/// What runs, or the last outcome, at the foot.
void paintStatusStrip(ui::Canvas &canvas, const ui::LayoutMetrics &metrics);

} // namespace dm
