#include "ui/text.h"

#include "i18n/language.h"
#include "ui/main_view.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace dm::ui {

TextPainter textPainter;

namespace {

constexpr std::size_t mostFonts = 256;

TextBatch *runningBatch = nullptr;

/// DIPs of the main window in pixels.
int scaledUp(float dips) {
    return static_cast<int>(std::trunc(boundedPixels(dips * mainView.uiScale) + 0.5F));
}

bool isSmoothed() {
    BOOL smoothing = TRUE;
    return SystemParametersInfoW(SPI_GETFONTSMOOTHING, 0, &smoothing, 0) == FALSE || smoothing != FALSE;
}

bool isClearType() {
    UINT type = FE_FONTSMOOTHINGCLEARTYPE;
    return SystemParametersInfoW(SPI_GETFONTSMOOTHINGTYPE, 0, &type, 0) == FALSE || type == FE_FONTSMOOTHINGCLEARTYPE;
}

HFONT makeFont(const FontKey &key) {
    return CreateFontW(-std::max(key.pixelSize, 1), 0, 0, 0, key.bold ? FW_SEMIBOLD : FW_NORMAL, FALSE, FALSE, FALSE,
                       DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, key.quality,
                       DEFAULT_PITCH | FF_DONTCARE, key.family.c_str());
}

void deleteFonts(TextPainter &painter) {
    for (const auto &[key, font] : painter.fonts) {
        if (font != nullptr)
            DeleteObject(font);
    }
    painter.fonts.clear();
}

void selectFont(HDC dc, HFONT font) {
    if (font != nullptr)
        SelectObject(dc, font);
}

SIZE sizeOf(const RECT &rect) {
    return {rect.right - rect.left, rect.bottom - rect.top};
}

SIZE measureOnce(TextPainter &painter, const TextRun &run) {
    RECT rect = {0, 0, std::max<LONG>(sizeOf(run.rect).cx, 1), 0};
    SaveDC(painter.measureDc);
    selectFont(painter.measureDc, fontFor(painter, run, run.pixelSize));
    SetTextAlign(painter.measureDc, TA_LEFT);
    DrawTextW(painter.measureDc, run.text.c_str(), static_cast<int>(run.text.size()), &rect,
              DT_CALCRECT | DT_NOPREFIX | run.drawFlags | (run.singleLine ? DT_SINGLELINE : DT_WORDBREAK));
    RestoreDC(painter.measureDc, -1);
    return sizeOf(rect);
}

bool isOutside(const RECT &box, const RECT &clip) {
    return box.left >= clip.right || box.right <= clip.left || box.top >= clip.bottom || box.bottom <= clip.top;
}

UINT alignmentFlags(Alignment alignment) {
    const bool mirrored = isRightToLeft();
    const UINT reading = mirrored ? DT_RTLREADING : 0;
    if (alignment == Alignment::Centered)
        return DT_CENTER | reading;
    return ((alignment == Alignment::Trailing) != mirrored ? DT_RIGHT : DT_LEFT) | reading;
}

/// A run in the main window's scale and interface font.
TextRun mainRun(WStringView text, const RECT &rect, float size, Argb color, bool bold, Alignment alignment,
                bool translate) {
    TextRun run;
    run.text = translate ? tr(text) : WString(text);
    run.fontFamily = currentInterfaceFont();
    run.rect = rect;
    run.color = toColorRef(color);
    run.pixelSize = std::max(scaledUp(size), 1);
    run.minPixelSize = std::max(scaledUp(leastSizeOf(size)), 1);
    run.bold = bold;
    run.drawFlags = alignmentFlags(alignment);
    return run;
}

RECT mainRect(float x, float y, float width, float height) {
    return {scaledUp(x), scaledUp(y), scaledUp(x + width), scaledUp(y + height)};
}

} // namespace

float boundedPixels(float value) {
    constexpr float limit = 1.0e6F;
    return std::fmax(-limit, std::fmin(value, limit));
}

COLORREF toColorRef(Argb color) {
    return RGB(color >> 16, color >> 8, color);
}

DWORD systemFontQuality() {
    if (!isSmoothed())
        return NONANTIALIASED_QUALITY;
    return isClearType() ? CLEARTYPE_NATURAL_QUALITY : ANTIALIASED_QUALITY;
}

void resetFonts(TextPainter &painter) {
    deleteFonts(painter);
    painter.quality = systemFontQuality();
}

void releaseTextPainter(TextPainter &painter) {
    deleteFonts(painter);
    if (painter.measureDc != nullptr)
        DeleteDC(std::exchange(painter.measureDc, nullptr));
}

HFONT fontFor(TextPainter &painter, const TextRun &run, int pixelSize) {
    FontKey key = {.quality = painter.quality, .bold = run.bold, .pixelSize = pixelSize, .family = run.fontFamily};
    const auto known = painter.fonts.find(key);
    if (known != painter.fonts.end())
        return known->second;
    if (painter.fonts.size() >= mostFonts) {
        resetFonts(painter);
        key.quality = painter.quality;
    }
    HFONT font = makeFont(key);
    if (font != nullptr)
        painter.fonts.emplace(std::move(key), font);
    return font;
}

SIZE measureTextRun(TextPainter &painter, TextRun &run) {
    run.pixelSize = std::max(run.pixelSize, 1);
    run.minPixelSize = std::clamp(run.minPixelSize, 1, run.pixelSize);
    if (painter.measureDc == nullptr)
        painter.measureDc = CreateCompatibleDC(nullptr);
    if (run.text.empty() || painter.measureDc == nullptr)
        return {0, 0};

    const SIZE room = sizeOf(run.rect);
    for (;;) {
        const SIZE size = measureOnce(painter, run);
        if (run.pixelSize <= run.minPixelSize || (size.cx <= room.cx && size.cy <= room.cy))
            return size;
        --run.pixelSize;
    }
}

void drawTextRun(TextPainter &painter, HDC dc, TextRun &run) {
    const SIZE room = sizeOf(run.rect);
    if (run.text.empty() || room.cx <= 0 || room.cy <= 0)
        return;
    RECT clip = {};
    if (GetClipBox(dc, &clip) == NULLREGION || isOutside(run.rect, clip))
        return;
    const SIZE size = measureTextRun(painter, run);

    SaveDC(dc);
    IntersectClipRect(dc, run.rect.left, run.rect.top, run.rect.right, run.rect.bottom);
    selectFont(dc, fontFor(painter, run, run.pixelSize));
    SetTextAlign(dc, TA_LEFT);
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, run.color);

    RECT rect = run.rect;
    UINT format = run.singleLine ? DT_SINGLELINE : DT_WORDBREAK;
    if (run.centerVertically && run.singleLine)
        format |= DT_VCENTER;
    else if (run.centerVertically && room.cy - size.cy >= 2)
        rect.top += (room.cy - size.cy) / 2;
    DrawTextW(dc, run.text.c_str(), static_cast<int>(run.text.size()), &rect,
              format | run.drawFlags | DT_END_ELLIPSIS | DT_NOPREFIX);
    RestoreDC(dc, -1);
}

void drawBatch(TextBatch &batch, HDC dc) {
    for (TextRun &run : batch.runs)
        drawTextRun(batch.painter, dc, run);
}

BatchScope::BatchScope(TextBatch &batch) : previous_(std::exchange(runningBatch, &batch)) {}

BatchScope::~BatchScope() {
    runningBatch = previous_;
}

void queueText(WStringView text, float x, float y, float width, float height, float size, Argb color, bool bold,
               Alignment alignment, bool translate, bool centerVertically, bool singleLine) {
    if (runningBatch == nullptr)
        return;
    TextRun run = mainRun(text, mainRect(x, y, width, height), size, color, bold, alignment, translate);
    run.centerVertically = centerVertically;
    run.singleLine = singleLine;
    runningBatch->runs.push_back(std::move(run));
}

void drawTwoLines(WStringView title, WStringView detail, float x, float y, float width, float height, float titleSize,
                  Argb titleColor, Argb detailColor, bool bold, bool translate) {
    if (runningBatch == nullptr)
        return;
    constexpr float detailSize = 12;
    constexpr float marginBelow = 3;
    RECT box = mainRect(x, y, width, height);
    box.bottom = std::max(box.bottom, box.top);
    const int room = box.bottom - box.top;
    const int gap = std::min(std::max(scaledUp(2), 1), room / 3);
    const int titleRoom = (room - gap) * 56 / 100;
    const int detailRoom = room - gap - titleRoom;
    // In a low row the detail's line is a little higher than its room: its descenders reach into the row's margin.
    const int reach = std::min(scaledUp(marginBelow), detailRoom);

    TextRun first = mainRun(title, {box.left, box.top, box.right, box.top + titleRoom}, titleSize, titleColor, bold,
                            Alignment::Leading, translate);
    TextRun second = mainRun(detail, {box.left, box.bottom - detailRoom, box.right, box.bottom + reach}, detailSize,
                             detailColor, false, Alignment::Leading, translate);
    first.singleLine = second.singleLine = true;
    TextPainter &painter = runningBatch->painter;
    const int titleHeight = std::min<int>(measureTextRun(painter, first).cy, titleRoom);
    const int detailDrawn = std::min<int>(measureTextRun(painter, second).cy, detailRoom + reach);
    const int detailHeight = std::min(detailDrawn, detailRoom);

    const int slack = room - titleHeight - detailHeight - gap;
    const int top = box.top + (slack > 1 ? slack / 2 : 0);
    first.rect.top = top;
    first.rect.bottom = top + titleHeight;
    second.rect.top = first.rect.bottom + gap;
    second.rect.bottom = second.rect.top + detailDrawn;
    runningBatch->runs.push_back(std::move(first));
    runningBatch->runs.push_back(std::move(second));
}

} // namespace dm::ui
