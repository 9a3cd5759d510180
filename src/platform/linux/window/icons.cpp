#include "platform/linux/window/icons.h"

#include "platform/linux/window/application.h"

#include <QDir>
#include <QStyle>

namespace {

/// There are two icons, and a handle is the address of one of these names.
constexpr char programIcon = 'p';
constexpr char anyProgramsIcon = 'a';
constexpr char arrowCursor = 'c';

template <typename Handle>
Handle handleFor(const char &what) {
    return reinterpret_cast<Handle>(const_cast<char *>(&what));
}

} // namespace

namespace dm::platform {

QIcon iconOf(HICON icon) {
    if (icon == nullptr)
        return {};
    QIcon program;
    if (icon == handleFor<HICON>(programIcon)) {
        for (const QString &picture : QDir(QStringLiteral(":/icons")).entryList())
            program.addFile(QStringLiteral(":/icons/") + picture);
    }
    return program.isNull() ? application().style()->standardIcon(QStyle::SP_DesktopIcon) : program;
}

} // namespace dm::platform

HICON WINAPI LoadIconW(HINSTANCE instance, LPCWSTR name) {
    if (instance == nullptr)
        return name == IDI_APPLICATION ? handleFor<HICON>(anyProgramsIcon) : nullptr;
    return name == MAKEINTRESOURCEW(1) ? handleFor<HICON>(programIcon) : nullptr;
}

HCURSOR WINAPI LoadCursorW(HINSTANCE, LPCWSTR name) {
    return name == IDC_ARROW ? handleFor<HCURSOR>(arrowCursor) : nullptr;
}
