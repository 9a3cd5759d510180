#include "platform/linux/window/control_classes.h"
#include "platform/linux/window/events.h"

#include <QAbstractButton>

namespace dm::platform {
namespace {

/// Qt has the button's behaviour; what it looks like is drawn by the window that it stands in.
class Button final : public QAbstractButton {
public:
    bool losingCapture = true; ///< false while the button itself gives the mouse up

protected:
    void paintEvent(QPaintEvent *) override {}
};

void drawItem(HWND window) {
    PAINTSTRUCT paint;
    const HDC dc = BeginPaint(window, &paint);
    if (dc == nullptr)
        return;
    const Button &button = widgetOf<Button>(window);
    const auto id = static_cast<UINT>(GetDlgCtrlID(window));
    const UINT state = itemStateOf(window) | (button.isDown() ? ODS_SELECTED : 0U);
    DRAWITEMSTRUCT item = {ODT_BUTTON, id, 0, ODA_DRAWENTIRE, state, window, dc, rectOf(button.rect()), 0};
    SendMessageW(GetParent(window), WM_DRAWITEM, id, reinterpret_cast<LPARAM>(&item));
    EndPaint(window, &paint);
}

/// The mouse is given up before the click is told.
void giveUpCapture(HWND window) {
    QPointer<Button> button = &widgetOf<Button>(window);
    button->losingCapture = false;
    releaseCapture(window);
    if (button != nullptr)
        button->losingCapture = true;
}

} // namespace

bool makeButton(HWND window, const CREATESTRUCTW &creation) {
    constexpr DWORD typeMask = 0x0000000F; // BS_TYPEMASK
    if ((static_cast<DWORD>(creation.style) & typeMask) != BS_OWNERDRAW) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    auto *button = new Button;
    button->setFocusPolicy(Qt::ClickFocus);
    addPane(window, button, creation);
    button->setAccessibleName(textOf(paneOf(window)->text));
    addPart(window, button, wholeWidget);
    QObject::connect(button, &Button::clicked, button, [window] { sendCommand(window, BN_CLICKED); });
    return true;
}

LRESULT CALLBACK buttonProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_PAINT:
        drawItem(window);
        return 0;
    case WM_GETDLGCODE:
        return DLGC_BUTTON;
    case WM_SETTEXT: {
        const LRESULT result = DefWindowProcW(window, message, wParam, lParam);
        InvalidateRect(window, nullptr, FALSE);
        return result;
    }
    case WM_LBUTTONDOWN:
        takeCapture(window);
        break;
    case WM_LBUTTONDBLCLK:
        sendCommand(window, BN_DOUBLECLICKED);
        return 0;
    case WM_LBUTTONUP:
        giveUpCapture(window);
        break;
    case WM_CAPTURECHANGED:
        if (widgetOf<Button>(window).losingCapture)
            widgetOf<Button>(window).setDown(false);
        return 0;
    case WM_KILLFOCUS:
        releaseCapture(window);
        break;
    case WM_KEYDOWN:
    case WM_KEYUP:
        if (wParam != VK_SPACE)
            return 0; // Qt would move the focus with the arrows
        break;
    default:
        break;
    }
    return isOwnWindow(window) ? DefWindowProcW(window, message, wParam, lParam) : 0;
}

} // namespace dm::platform
