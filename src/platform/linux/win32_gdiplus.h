// Published declarations of GDI+, of its flat functions alone.
#pragma once

#include "platform/linux/win32_base.h"

namespace Gdiplus {

using REAL = float;
using ARGB = DWORD;

enum Status {
    Ok = 0,
    InvalidParameter = 2,
    NotImplemented = 6,
    FontFamilyNotFound = 14,
    GdiplusNotInitialized = 18,
};
enum Unit { UnitWorld = 0 };
enum SmoothingMode { SmoothingModeAntiAlias = 4 };
enum MatrixOrder { MatrixOrderPrepend = 0 };
enum FlushIntention { FlushIntentionSync = 1 };
enum FillMode { FillModeAlternate = 0 };
enum LineCap { LineCapFlat = 0, LineCapRound = 2 };
enum DashStyle { DashStyleSolid = 0, DashStyleDot = 2 };

class GpGraphics;
class GpPen;
class GpPath;
class GpFontFamily;
class GpFontCollection;
class GpBrush {};
class GpSolidFill : public GpBrush {};
using GpStatus = Status;
using GpUnit = Unit;
using GpMatrixOrder = MatrixOrder;
using GpFlushIntention = FlushIntention;
using GpFillMode = FillMode;
using GpLineCap = LineCap;
using GpDashStyle = DashStyle;

using DebugEventProc = void(WINAPI *)(int level, char *message);
using NotificationHookProc = Status(WINAPI *)(ULONG_PTR *token);
using NotificationUnhookProc = void(WINAPI *)(ULONG_PTR token);

struct GdiplusStartupInput {
    explicit GdiplusStartupInput(DebugEventProc debugEventCallback = nullptr, BOOL suppressBackgroundThread = FALSE,
                                 BOOL suppressExternalCodecs = FALSE)
        : GdiplusVersion(1), DebugEventCallback(debugEventCallback), SuppressBackgroundThread(suppressBackgroundThread),
          SuppressExternalCodecs(suppressExternalCodecs) {}
    std::uint32_t GdiplusVersion;
    DebugEventProc DebugEventCallback;
    BOOL SuppressBackgroundThread;
    BOOL SuppressExternalCodecs;
};

struct GdiplusStartupOutput {
    NotificationHookProc NotificationHook;
    NotificationUnhookProc NotificationUnhook;
};

extern "C" {
/// Version 1, with the background thread; the output may then be null.
Status WINAPI GdiplusStartup(ULONG_PTR *token, const GdiplusStartupInput *input, GdiplusStartupOutput *output);
/// Everything made has to be deleted before.
void WINAPI GdiplusShutdown(ULONG_PTR token);
}

namespace DllExports {
extern "C" {

// All of this belongs to the thread of the windows. What is made goes with its own delete function. A null pointer is
// an InvalidParameter; nothing can be made before GdiplusStartup.
//
// Pixels have their centres at whole coordinates, so that a line of width 1 along whole coordinates fills one row of
// pixels and nothing else.

/// Draws on the device context, within the clip that it has at this moment.
GpStatus WINAPI GdipCreateFromHDC(HDC dc, GpGraphics **graphics);
GpStatus WINAPI GdipDeleteGraphics(GpGraphics *graphics);
GpStatus WINAPI GdipScaleWorldTransform(GpGraphics *graphics, REAL x, REAL y, GpMatrixOrder order);
GpStatus WINAPI GdipSetSmoothingMode(GpGraphics *graphics, SmoothingMode mode);
/// Drawing reaches the device context at once, so there is nothing to wait for.
GpStatus WINAPI GdipFlush(GpGraphics *graphics, GpFlushIntention intention);

/// Width in the units of the world transform; never thinner than one pixel.
GpStatus WINAPI GdipCreatePen1(ARGB color, REAL width, GpUnit unit, GpPen **pen);
GpStatus WINAPI GdipDeletePen(GpPen *pen);
/// Both ends have to be alike when the pen is used.
GpStatus WINAPI GdipSetPenStartCap(GpPen *pen, GpLineCap cap);
GpStatus WINAPI GdipSetPenEndCap(GpPen *pen, GpLineCap cap);
GpStatus WINAPI GdipSetPenDashStyle(GpPen *pen, GpDashStyle style);

GpStatus WINAPI GdipCreateSolidFill(ARGB color, GpSolidFill **brush);
GpStatus WINAPI GdipDeleteBrush(GpBrush *brush);

GpStatus WINAPI GdipCreatePath(GpFillMode mode, GpPath **path);
GpStatus WINAPI GdipDeletePath(GpPath *path);
/// Of the ellipse in the box, clockwise in degrees from its right end; joined to what the figure has by a line.
GpStatus WINAPI GdipAddPathArc(GpPath *path, REAL x, REAL y, REAL width, REAL height, REAL start, REAL sweep);
GpStatus WINAPI GdipClosePathFigure(GpPath *path);

GpStatus WINAPI GdipFillPath(GpGraphics *graphics, GpBrush *brush, GpPath *path);
GpStatus WINAPI GdipDrawPath(GpGraphics *graphics, GpPen *pen, GpPath *path);
GpStatus WINAPI GdipDrawLine(GpGraphics *graphics, GpPen *pen, REAL x1, REAL y1, REAL x2, REAL y2);
GpStatus WINAPI GdipDrawArc(GpGraphics *graphics, GpPen *pen, REAL x, REAL y, REAL width, REAL height, REAL start,
                            REAL sweep);
GpStatus WINAPI GdipDrawRectangle(GpGraphics *graphics, GpPen *pen, REAL x, REAL y, REAL width, REAL height);
GpStatus WINAPI GdipDrawEllipse(GpGraphics *graphics, GpPen *pen, REAL x, REAL y, REAL width, REAL height);
GpStatus WINAPI GdipFillEllipse(GpGraphics *graphics, GpBrush *brush, REAL x, REAL y, REAL width, REAL height);

/// FontFamilyNotFound unless it is installed, or what stands for it here. Only with no collection: the installed ones.
GpStatus WINAPI GdipCreateFontFamilyFromName(const WCHAR *name, GpFontCollection *collection, GpFontFamily **family);
GpStatus WINAPI GdipDeleteFontFamily(GpFontFamily *family);
}
} // namespace DllExports

} // namespace Gdiplus
