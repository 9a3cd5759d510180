// What windows and controls need of the drawing side: device contexts to hand out, and what the program's drawing
// objects stand for in Qt.
#pragma once

#include "platform/linux/win32_base.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QRegion>

class QPaintDevice;
class QPainter;

namespace dm::platform {

/// Gives the program a device context that draws on a Qt paint device as long as this lives: what BeginPaint,
/// WM_DRAWITEM and NM_CUSTOMDRAW hand out. The program cannot delete it.
class PaintDc {
public:
    /// Clip in the device's pixels. Nothing else may paint on the device meanwhile.
    PaintDc(QPaintDevice &device, const QRegion &clip);
    /// For a device that is being painted on already, as in a delegate. Clip in the painter's coordinates, and within
    /// the clip that it has. The painter gets its state back in the end.
    PaintDc(QPainter &painter, const QRegion &clip);
    PaintDc(const PaintDc &) = delete;
    PaintDc &operator=(const PaintDc &) = delete;
    ~PaintDc();

    HDC get() const { return dc_; }

private:
    HDC dc_;
};

// All of these take a null or unknown handle: a default font, an invalid colour, a null image.

/// What WM_SETFONT gives.
QFont fontOf(HFONT font);
/// What WM_CTLCOLOR* answers.
QColor colorOf(HBRUSH brush);
QColor colorOf(COLORREF color);
/// What the program has set in a device context, as in its answer to WM_CTLCOLOR*.
QColor textColorOf(HDC dc);
QColor backColorOf(HDC dc);
/// A copy of the pixels as Format_RGB32. Where the program keeps premultiplied alpha in the fourth byte, as for
/// UpdateLayeredWindow, QImage::reinterpretAsFormat makes it count.
QImage imageOf(HBITMAP bitmap);
/// The same of the bitmap that is selected into a memory device context.
QImage imageOf(HDC dc);

} // namespace dm::platform
