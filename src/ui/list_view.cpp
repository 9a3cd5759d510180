#include "ui/list_view.h"

#include "ui/canvas.h"
#include "ui/scroll_bars.h"

namespace dm::ui {
namespace {

HWND headerOf(HWND list) {
    return reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
}

/// A header asks its parent, the list, how it is to be drawn; the list's owner knows.
LRESULT CALLBACK listProcedure(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR subclass,
                               DWORD_PTR /*reference*/) {
    if (message == WM_NOTIFY) {
        const auto &notice = *reinterpret_cast<const NMHDR *>(lParam);
        if (notice.code == NM_CUSTOMDRAW && notice.hwndFrom == headerOf(list))
            return SendMessageW(GetParent(list), message, wParam, lParam);
    }
    if (message == WM_NCDESTROY)
        RemoveWindowSubclass(list, listProcedure, subclass);
    return DefSubclassProc(list, message, wParam, lParam);
}

LRESULT CALLBACK headerProcedure(HWND header, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR subclass,
                                 DWORD_PTR /*reference*/) {
    if (message == WM_ERASEBKGND) {
        RECT client = {};
        GetClientRect(header, &client);
        fillRect(reinterpret_cast<HDC>(wParam), client, palette.fieldBackground);
        return 1;
    }
    if (message == WM_NCDESTROY)
        RemoveWindowSubclass(header, headerProcedure, subclass);
    return DefSubclassProc(header, message, wParam, lParam);
}

} // namespace

void subclassListView(HWND list) {
    SetWindowSubclass(list, listProcedure, 1, 0);
    SetWindowSubclass(headerOf(list), headerProcedure, 1, 0);
    subclassScrollBars(list);
}

} // namespace dm::ui
