// The Qt side of the windows: which widget stands for which handle.
#pragma once

#include "platform/linux/own_windows.h"
#include "platform/linux/window/drawing_objects.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <QPointer>
#include <QRegion>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

namespace dm::platform {

/// A widget's own handling of an event, which the default procedure of its window passes on to it.
using OwnHandling = std::function<bool(QEvent &event)>;

/// What of a window's life shows in the events of one of its Qt objects.
enum class Role : unsigned {
    Keys = 1,      ///< keys and focus
    Place = 2,     ///< size, and for a top-level window its activation and closing
    Client = 4,    ///< paints and mouse
    NonClient = 8, ///< paints outside the client area: scroll bars
};
using Roles = unsigned;
constexpr Roles operator|(Role left, Role right) {
    return static_cast<Roles>(left) | static_cast<Roles>(right);
}
constexpr Roles operator|(Roles left, Role right) {
    return left | static_cast<Roles>(right);
}
constexpr Roles wholeWidget = Role::Keys | Role::Place | Role::Client;

/// The Qt side of a window.
struct Pane {
    HWND window = nullptr;
    QWidget *widget = nullptr; ///< its place, visibility and enabling
    QWidget *client = nullptr; ///< its client area: the widget itself, or the viewport inside a scroll area
    bool ownsWidget = true;    ///< false for a part of another window's widget
    WString text;
    QRegion invalid;           ///< what UpdateWindow has to paint, in the client's coordinates
    bool erase = true;         ///< the next paint begins with WM_ERASEBKGND
    bool leaveWanted = false;  ///< TrackMouseEvent
    QSize toldSize = {-1, -1}; ///< by the last WM_SIZE
    UINT toldState = SIZE_RESTORED;
    std::function<QSize(QSize)> fit; ///< the size that the widget takes of the one that it is given, if not all of it
    QImage layer;                    ///< what UpdateLayeredWindow gave
    // Of a top-level window only:
    QSize askedSize;       ///< with the frame, which nobody knows before the window manager has made it
    QMargins assumedFrame; ///< what the frame was taken for meanwhile
    /// Where it is to stand, until it is seen: what the screen tells of a window that is just being framed is wrong.
    std::optional<QPoint> askedPlace;
    bool focusShown = false; ///< the keyboard has been used to get about
    HWND lastPopup = nullptr;
    int scale = 0; ///< the dots per inch that it was told last
};

/// Null, with the last error set, for a window without a widget.
Pane *paneOf(HWND window);
/// The window that an object is, or is part of, itself or by one of its parents; null if none.
HWND windowOfWidget(QWidget *widget);

/// Gives a window its widget. One without a parent gets the parent and the place of the window, and is deleted with it;
/// one that has a parent is a part of another window's widget and stays its own.
Pane &addPane(HWND window, QWidget *widget, const CREATESTRUCTW &creation);
/// Watches the events of an object of a window. Without a handling of its own it is QObject::event.
void addPart(HWND window, QObject *part, Roles roles, OwnHandling own = nullptr);

/// While one of these lives, Qt is busy with widgets, and none of them may be deleted.
class Busy {
public:
    Busy();
    Busy(const Busy &) = delete;
    Busy &operator=(const Busy &) = delete;
    ~Busy();
};

/// What an event of a window's object leads to is being sent.
struct Delivery {
    HWND window;
    UINT message;
    QPointer<QObject> target;
    QEvent *event;
    Delivery *outer;
    bool passedOn = false;
    std::unique_ptr<PaintDc> paint = nullptr; ///< between BeginPaint and EndPaint
};

/// Sends a message that an event of an object of the window led to.
LRESULT deliver(HWND window, UINT message, WPARAM wParam, LPARAM lParam, QObject *target, QEvent *event);
/// The innermost delivery of this message to this window that is under way, or null.
Delivery *deliveryOf(HWND window, UINT message);
/// What the end of every chain of procedures does with a message that came from an event: the widget itself handles it,
/// once. False where the message did not come from an event.
bool passOn(HWND window, UINT message);
/// Sends a notification that a signal of a window's widget led to.
LRESULT notify(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// Ends the life of a window's pane; its widget goes with it, later if Qt is busy.
void removePane(HWND window);
/// Deletes the widgets of ended windows, if Qt is not busy.
void buryWidgets();

WString wideOf(const QString &text);
QString textOf(WStringView text);
QRect rectOf(const RECT &rect);
RECT rectOf(const QRect &rect);

} // namespace dm::platform
