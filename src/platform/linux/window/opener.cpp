// Opening what another program shows, by the desktop's choice of that program.
#include "platform/linux/window/panes.h"
#include "platform/places.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <QDesktopServices>
#include <QUrl>

namespace {

// As published: what is above this is no error.
constexpr std::intptr_t handedOver = 33;
constexpr std::intptr_t noProgram = 31;   // SE_ERR_NOASSOC
constexpr std::intptr_t notSupported = 5; // SE_ERR_ACCESSDENIED

bool isDrivePath(dm::WStringView text) {
    return text.size() >= 3 && text[1] == W(':') && text[2] == W('\\');
}

QUrl urlOf(const dm::WString &text) {
    return isDrivePath(text) ? QUrl::fromLocalFile(dm::platform::textOf(dm::shownPath(text)))
                             : QUrl(dm::platform::textOf(text), QUrl::StrictMode);
}

} // namespace

HINSTANCE WINAPI ShellExecuteW(HWND, LPCWSTR operation, LPCWSTR file, LPCWSTR, LPCWSTR, INT) {
    std::intptr_t answer = notSupported;
    if (file != nullptr && operation != nullptr && dm::WStringView(operation) == W("open")) {
        const QUrl url = urlOf(file);
        answer = url.isValid() && QDesktopServices::openUrl(url) ? handedOver : noProgram;
    }
    return reinterpret_cast<HINSTANCE>(answer);
}
