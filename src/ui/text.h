// All texts of the windows, drawn by GDI: fonts, measuring, and the batch that a paint queues its texts in.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"
#include "ui/theme.h"

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

namespace dm::ui {

/// Without the alpha.
COLORREF toColorRef(Argb color);

/// The size in DIPs below which a text of this size does not shrink.
inline float leastSizeOf(float size) {
    return size > 11.5F ? 11.5F : size;
}
/// Within what can be a number of pixels, whatever the value is.
float boundedPixels(float value);

/// One queued piece of text.
struct TextRun {
    WString text;
    WString fontFamily;
    RECT rect = {}; ///< pixels
    COLORREF color = 0;
    std::int32_t pixelSize = 1;    ///< wanted height of the em; measuring may lower it
    std::int32_t minPixelSize = 1; ///< below which it is not lowered
    bool bold = false;
    bool centerVertically = false;
    bool singleLine = false; ///< otherwise words wrap
    UINT drawFlags = 0;      ///< alignment bits of DrawTextW, with DT_RTLREADING
};

struct FontKey {
    DWORD quality = 0;
    bool bold = false;
    std::int32_t pixelSize = 0;
    WString family;

    bool operator<(const FontKey &other) const {
        return std::tie(quality, bold, pixelSize, family) <
               std::tie(other.quality, other.bold, other.pixelSize, other.family);
    }
};

/// Fonts by what they are, and a device context to measure with. Starts with neither.
struct TextPainter {
    std::map<FontKey, HFONT> fonts; ///< at most 256
    HDC measureDc = nullptr;
    DWORD quality = CLEARTYPE_NATURAL_QUALITY;
};

/// The process's one, on the windows' thread.
extern TextPainter textPainter;

/// The quality that follows the system's font smoothing.
DWORD systemFontQuality();
/// Deletes all fonts and reads the quality anew.
void resetFonts(TextPainter &painter);
/// Deletes fonts and device context.
void releaseTextPainter(TextPainter &painter);

/// Null where the system cannot make it.
HFONT fontFor(TextPainter &painter, const TextRun &run, int pixelSize);
/// Width and height in pixels. A run that does not fit its box gets a lower pixel size, down to its least.
SIZE measureTextRun(TextPainter &painter, TextRun &run);
/// Draws within the run's box; what does not fit ends in an ellipsis.
void drawTextRun(TextPainter &painter, HDC dc, TextRun &run);

/// The texts of a paint, drawn after its shapes.
struct TextBatch {
    explicit TextBatch(TextPainter &textPainter) : painter(textPainter) { runs.reserve(64); }
    TextPainter &painter;
    std::vector<TextRun> runs;
};

/// Draws the runs in the order of queueing.
void drawBatch(TextBatch &batch, HDC dc);

/// Makes a batch the one that queueText adds to, as long as this lives.
class BatchScope {
public:
    explicit BatchScope(TextBatch &batch);
    BatchScope(const BatchScope &) = delete;
    BatchScope &operator=(const BatchScope &) = delete;
    ~BatchScope();

private:
    TextBatch *previous_;
};

enum class Alignment {
    Leading = 0,  ///< left, or right in a language that is written from right to left
    Centered = 1, //
    Trailing = 2, ///< the other side
};

/// Adds a text to the batch of the running paint; without one does nothing. Geometry and size in DIPs of the main
/// window, in the current interface font.
void queueText(WStringView text, float x, float y, float width, float height, float size, Argb color, bool bold,
               Alignment alignment, bool translate, bool centerVertically, bool singleLine);
/// Adds a title over a detail of size 12, as one block centred in the height of its box.
void drawTwoLines(WStringView title, WStringView detail, float x, float y, float width, float height, float titleSize,
                  Argb titleColor, Argb detailColor, bool bold, bool translate);

} // namespace dm::ui
