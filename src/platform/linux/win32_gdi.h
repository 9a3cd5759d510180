// Published declarations of GDI: device contexts, bitmaps, fills, fonts and text.
#pragma once

#include "platform/linux/win32_base.h"

#define CLR_INVALID 0xFFFFFFFF
#define GDI_ERROR 0xFFFFFFFF
#define RGB(red, green, blue)                                                                                          \
    (static_cast<COLORREF>(static_cast<BYTE>(red) | (static_cast<WORD>(static_cast<BYTE>(green)) << 8) |               \
                           (static_cast<DWORD>(static_cast<BYTE>(blue)) << 16)))
#define GetRValue(color) (static_cast<BYTE>((color)&0xFF))
#define GetGValue(color) (static_cast<BYTE>(((color) >> 8) & 0xFF))
#define GetBValue(color) (static_cast<BYTE>(((color) >> 16) & 0xFF))

#define BI_RGB 0
#define DIB_RGB_COLORS 0
#define SRCCOPY 0x00CC0020

#define NULLREGION 1
#define SIMPLEREGION 2

#define BLACK_PEN 7
#define NULL_PEN 8
#define SYSTEM_FONT 13
#define DC_BRUSH 18

#define PS_SOLID 0

#define TRANSPARENT 1
#define OPAQUE 2
#define TA_LEFT 0

#define FW_NORMAL 400
#define FW_SEMIBOLD 600
#define DEFAULT_CHARSET 1
#define OUT_DEFAULT_PRECIS 0
#define CLIP_DEFAULT_PRECIS 0
#define NONANTIALIASED_QUALITY 3
#define ANTIALIASED_QUALITY 4
#define CLEARTYPE_NATURAL_QUALITY 6
#define DEFAULT_PITCH 0
#define FF_DONTCARE 0

#define DT_LEFT 0x00000000
#define DT_CENTER 0x00000001
#define DT_RIGHT 0x00000002
#define DT_VCENTER 0x00000004
#define DT_WORDBREAK 0x00000010
#define DT_SINGLELINE 0x00000020
#define DT_CALCRECT 0x00000400
#define DT_NOPREFIX 0x00000800
#define DT_END_ELLIPSIS 0x00008000
#define DT_RTLREADING 0x00020000

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};

struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};

struct BITMAP {
    LONG bmType;
    LONG bmWidth;
    LONG bmHeight;
    LONG bmWidthBytes;
    WORD bmPlanes;
    WORD bmBitsPixel;
    LPVOID bmBits;
};

// All of this belongs to the thread of the windows. A handle that is none, or not of the kind, fails with
// ERROR_INVALID_HANDLE.

/// A device context in memory, whose bitmap is one that cannot be seen until SelectObject gives it another. The context
/// that it is to be compatible with does not matter: all have 32 bits.
HDC WINAPI CreateCompatibleDC(HDC dc);
/// FALSE for what BeginPaint and messages hand out.
BOOL WINAPI DeleteDC(HDC dc);
/// Only 32 bits without compression from the top down (a negative height); zeroed. Null with *bits null for anything
/// else, or without the memory.
HBITMAP WINAPI CreateDIBSection(HDC dc, const BITMAPINFO *info, UINT usage, void **bits, HANDLE section, DWORD offset);
HBRUSH WINAPI CreateSolidBrush(COLORREF color);
/// Only PS_SOLID. A width of 0 is one pixel.
HPEN WINAPI CreatePen(int style, int width, COLORREF color);
HGDIOBJ WINAPI GetStockObject(int index);
/// Gives what was selected before; null for a bitmap that another context holds.
HGDIOBJ WINAPI SelectObject(HDC dc, HGDIOBJ object);
/// FALSE while the object is selected into a device context. Stock objects stay.
BOOL WINAPI DeleteObject(HGDIOBJ object);
/// Of bitmaps only: a BITMAP. Gives the bytes written, or needed if there is no room given; 0 on failure.
int WINAPI GetObjectW(HANDLE object, int size, LPVOID buffer);

int WINAPI SaveDC(HDC dc);
/// Back to a state by the number that SaveDC gave, or by a negative one counted from the newest.
BOOL WINAPI RestoreDC(HDC dc, int saved);
int WINAPI GetClipBox(HDC dc, RECT *box);
int WINAPI IntersectClipRect(HDC dc, int left, int top, int right, int bottom);

/// Only SRCCOPY, and only from a device context in memory. What the source does not have stays as it is.
BOOL WINAPI BitBlt(HDC to, int x, int y, int width, int height, HDC from, int fromX, int fromY, DWORD operation);
int WINAPI FillRect(HDC dc, const RECT *rect, HBRUSH brush);
/// Filled with the selected brush and framed with the selected pen. Without one (NULL_PEN) it is one pixel smaller, at
/// the right and at the bottom.
BOOL WINAPI RoundRect(HDC dc, int left, int top, int right, int bottom, int width, int height);
/// Draws a line with the selected pen up to the end, but without it, which is the next start.
BOOL WINAPI LineTo(HDC dc, int x, int y);
BOOL WINAPI MoveToEx(HDC dc, int x, int y, POINT *previous);
/// A dotted frame that a second call takes away again.
BOOL WINAPI DrawFocusRect(HDC dc, const RECT *rect);
/// The colour of the stock brush DC_BRUSH in this context; CLR_INVALID on failure.
COLORREF WINAPI SetDCBrushColor(HDC dc, COLORREF color);
/// Drawing reaches the bits at once, so there is nothing to wait for.
BOOL WINAPI GdiFlush();

/// Only a negative height, which is that of the em. A family that is not installed is replaced by another.
HFONT WINAPI CreateFontW(int height, int width, int escapement, int orientation, int weight, DWORD italic,
                         DWORD underline, DWORD strikeOut, DWORD charset, DWORD outPrecision, DWORD clipPrecision,
                         DWORD quality, DWORD pitchAndFamily, LPCWSTR family);
COLORREF WINAPI SetTextColor(HDC dc, COLORREF color);
COLORREF WINAPI SetBkColor(HDC dc, COLORREF color);
int WINAPI SetBkMode(HDC dc, int mode);
/// Only TA_LEFT, which is how a device context starts.
UINT WINAPI SetTextAlign(HDC dc, UINT align);
/// Text of a length, or ended by a null with -1; always with DT_NOPREFIX. Gives its height, 0 on failure. Where the
/// text does not fit, DT_END_ELLIPSIS ends the last line that fits, and at least one is drawn.
int WINAPI DrawTextW(HDC dc, LPCWSTR text, int length, RECT *rect, UINT format);
