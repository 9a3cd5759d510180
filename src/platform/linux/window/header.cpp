// The header of a list, as a window of its own.
#include "platform/linux/window/control_classes.h"

#include <QHeaderView>
#include <QPainter>
#include <QTableView>

#include <algorithm>
#include <vector>

namespace dm::platform {
namespace {

class Header final : public QHeaderView {
public:
    Header() : QHeaderView(Qt::Horizontal) {}

    using QHeaderView::paintSection;
    using QHeaderView::viewportEvent;
};

QRect placeOf(const Header &header, int section) {
    return {header.sectionViewportPosition(section), 0, header.sectionSize(section), header.viewport()->height()};
}

LRESULT askParent(HWND window, DWORD stage, HDC dc, const QRect &rect, int section) {
    NMCUSTOMDRAW draw = {};
    draw.dwDrawStage = stage;
    draw.hdc = dc;
    draw.rc = rectOf(rect);
    draw.dwItemSpec = static_cast<DWORD_PTR>(section);
    return sendNotify(window, draw.hdr, NM_CUSTOMDRAW);
}

void paint(HWND window) {
    const auto &header = widgetOf<Header>(window);
    paneOf(window)->erase = true; // the columns do not cover all of it
    PAINTSTRUCT painting;
    const HDC dc = BeginPaint(window, &painting);
    if (dc == nullptr)
        return;
    const LRESULT wanted = askParent(window, CDDS_PREPAINT, dc, header.viewport()->rect(), 0);
    std::vector<int> left;
    if ((wanted & CDRF_NOTIFYITEMDRAW) != 0) {
        for (int section = 0; section < header.count(); ++section) {
            const QRect rect = placeOf(header, section);
            if ((askParent(window, CDDS_ITEMPREPAINT, dc, rect, section) & CDRF_SKIPDEFAULT) == 0)
                left.push_back(section);
        }
    }
    EndPaint(window, &painting);
    if (wanted == CDRF_DODEFAULT) {
        passOn(window, WM_PAINT);
        return;
    }
    QPainter painter(header.viewport());
    for (const int section : left)
        header.paintSection(&painter, placeOf(header, section), section);
}

LRESULT giveItem(const Header &header, int section, HDITEMW &item) {
    if (section < 0 || section >= header.count())
        return FALSE;
    if ((item.mask & HDI_TEXT) != 0 && item.pszText != nullptr && item.cchTextMax > 0) {
        const WString title = wideOf(header.model()->headerData(section, Qt::Horizontal).toString());
        const std::size_t copied = std::min<std::size_t>(title.size(), static_cast<std::size_t>(item.cchTextMax) - 1);
        title.copy(item.pszText, copied);
        item.pszText[copied] = 0;
    }
    return TRUE;
}

} // namespace

bool makeHeader(HWND window, const CREATESTRUCTW &creation) {
    auto *table = qobject_cast<QTableView *>(paneOf(creation.hwndParent)->widget);
    if (table == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    auto *header = new Header;
    header->setMinimumSectionSize(1);
    header->setSectionsClickable(true);
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    table->setHorizontalHeader(header);
    Pane &pane = addPane(window, header, creation);
    pane.client = header->viewport();
    windowOf(window)->style |= WS_VISIBLE;
    addPart(window, header, static_cast<Roles>(Role::Place));
    addPart(window, header->viewport(), static_cast<Roles>(Role::Client),
            [header](QEvent &event) { return header->viewportEvent(&event); });
    return true;
}

LRESULT CALLBACK headerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_PAINT:
        paint(window);
        return 0;
    case HDM_GETITEMW:
        return giveItem(widgetOf<Header>(window), static_cast<int>(wParam), *reinterpret_cast<HDITEMW *>(lParam));
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

} // namespace dm::platform
