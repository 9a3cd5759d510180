// Shows a window and ends with its first paint: a bare QWidget, or one of the program's with as many controls as its
// main window has. The whole process is what a person waits for. Or shows a bare window with text, and stays.
#include "platform/linux/window/application.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <QApplication>
#include <QPainter>
#include <QWidget>

#include <cstdio>
#include <string_view>

namespace {

constexpr int width = 1300;
constexpr int height = 850;
constexpr int buttons = 24;

class Bare final : public QWidget {
protected:
    void paintEvent(QPaintEvent *) override { QCoreApplication::quit(); }
};

int showBare(int count, char **arguments) {
    const QApplication application(count, arguments);
    Bare window;
    window.resize(width, height);
    window.show();
    return QCoreApplication::exec();
}

class WithText final : public QWidget {
protected:
    void paintEvent(QPaintEvent *) override {
        QPainter painter(this);
        QFont shown = font();
        for (const bool bold : {false, true}) {
            shown.setBold(bold);
            painter.setFont(shown);
            painter.drawText(rect(), bold ? Qt::AlignTop : Qt::AlignBottom, QStringLiteral("Text"));
        }
    }
};

int showText(int count, char **arguments, const char *family) {
    const QApplication application(count, arguments);
    WithText window;
    window.setFont(QFont(QString::fromUtf8(family)));
    window.resize(width, height);
    window.show();
    return QCoreApplication::exec();
}

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_CREATE:
        for (int i = 0; i < buttons; ++i)
            CreateWindowExW(0, W("BUTTON"), W("Button"), WS_CHILD | WS_VISIBLE | WS_TABSTOP | BS_OWNERDRAW, 10, 30 * i,
                            200, 28, window, nullptr, nullptr, nullptr);
        CreateWindowExW(0, W("msctls_trackbar32"), W(""), WS_CHILD | WS_VISIBLE, 300, 10, 200, 28, window, nullptr,
                        nullptr, nullptr);
        CreateWindowExW(0, W("COMBOBOX"), W(""), WS_CHILD | WS_VISIBLE | CBS_DROPDOWNLIST, 300, 50, 200, 300, window,
                        nullptr, nullptr, nullptr);
        return 0;
    case WM_PAINT: {
        PAINTSTRUCT paint;
        BeginPaint(window, &paint);
        EndPaint(window, &paint);
        PostQuitMessage(0);
        return 0;
    }
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

int showOwn() {
    const dm::platform::WindowSystem windows;
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = procedure;
    windowClass.lpszClassName = W("FirstWindow");
    RegisterClassExW(&windowClass);
    // The program asks for the desktop's settings before it paints.
    BOOL animates = FALSE;
    SystemParametersInfoW(SPI_GETCLIENTAREAANIMATION, 0, &animates, 0);
    const HWND window =
        CreateWindowExW(0, W("FirstWindow"), W("First"), WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT,
                        CW_USEDEFAULT, width, height, nullptr, nullptr, nullptr, nullptr);
    ShowWindow(window, SW_SHOWDEFAULT);
    UpdateWindow(window);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    return window == nullptr ? 1 : static_cast<int>(message.wParam);
}

} // namespace

int main(int count, char **arguments) {
    const std::string_view which = count >= 2 ? arguments[1] : "";
    if (which == "bare")
        return showBare(count, arguments);
    if (which == "own")
        return showOwn();
    if (which == "text" && count == 3)
        return showText(count, arguments, arguments[2]);
    std::fputs("usage: dustmere_first_window bare|own|text FAMILY\n", stderr);
    return 2;
}
