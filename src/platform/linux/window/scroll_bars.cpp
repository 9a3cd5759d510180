// A program paints scroll bars over those of the system, by GetWindowDC, when it likes. Qt paints only in answer to its
// paint events. So the device context draws on the bar that is just being painted, and on nothing at any other time;
// WM_NCPAINT is what comes with the bar's paint.
#include "platform/linux/window/scroll_bars.h"

#include "platform/linux/window/events.h"

#include <QAbstractScrollArea>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionSlider>

namespace dm::platform {
namespace {

QScrollBar *barOf(HWND window, LONG object) {
    const Pane *pane = paneOf(window);
    auto *area = pane == nullptr ? nullptr : qobject_cast<QAbstractScrollArea *>(pane->widget);
    if (area == nullptr)
        return nullptr;
    return object == OBJID_VSCROLL ? area->verticalScrollBar() : area->horizontalScrollBar();
}

/// Gives the style option of a bar, which Qt has only for the bar itself.
QStyleOptionSlider optionOf(const QScrollBar &bar) {
    QStyleOptionSlider option;
    option.initFrom(&bar);
    option.subControls = QStyle::SC_All;
    option.orientation = bar.orientation();
    option.minimum = bar.minimum();
    option.maximum = bar.maximum();
    option.sliderPosition = bar.sliderPosition();
    option.sliderValue = bar.value();
    option.singleStep = bar.singleStep();
    option.pageStep = bar.pageStep();
    if (bar.orientation() == Qt::Horizontal)
        option.state |= QStyle::State_Horizontal;
    return option;
}

/// What GetWindowDC gives: a device context in window coordinates, on the object that is being painted.
struct WindowDc {
    QPixmap nothing = QPixmap(1, 1);
    QPainter painter;
    std::optional<PaintDc> dc;
};

std::vector<std::unique_ptr<WindowDc>> &windowDcs() {
    static std::vector<std::unique_ptr<WindowDc>> all;
    return all;
}

} // namespace

void addScrollBars(HWND window, QAbstractScrollArea &area) {
    auto *corner = new QWidget(&area);
    area.setCornerWidget(corner);
    for (QWidget *part :
         {static_cast<QWidget *>(area.verticalScrollBar()), static_cast<QWidget *>(area.horizontalScrollBar()), corner})
        addPart(window, part, static_cast<Roles>(Role::NonClient));
}

bool handleNonClientPaint(HWND window, QObject *object, QPaintEvent &event) {
    deliver(window, WM_NCPAINT, 1, 0, object, &event); // 1: all of it
    return true;
}

} // namespace dm::platform

using namespace dm::platform;

HDC WINAPI GetWindowDC(HWND window) {
    const Pane *pane = paneOf(window);
    if (pane == nullptr)
        return nullptr;
    auto given = std::make_unique<WindowDc>();
    const Delivery *delivery = deliveryOf(window, WM_NCPAINT);
    auto *painted =
        delivery == nullptr || delivery->passedOn ? nullptr : static_cast<QWidget *>(delivery->target.data());
    if (painted == nullptr) {
        given->dc.emplace(given->nothing, QRegion());
    } else {
        const QPoint origin = painted->mapTo(pane->widget, QPoint(0, 0));
        given->painter.begin(painted);
        given->painter.translate(-origin);
        given->dc.emplace(given->painter, static_cast<QPaintEvent *>(delivery->event)->region().translated(origin));
    }
    windowDcs().push_back(std::move(given));
    return windowDcs().back()->dc->get();
}

int WINAPI ReleaseDC(HWND, HDC dc) {
    std::erase_if(windowDcs(), [dc](const auto &given) { return given->dc->get() == dc; });
    return 1;
}

BOOL WINAPI GetScrollBarInfo(HWND window, LONG object, SCROLLBARINFO *info) {
    const QScrollBar *bar = barOf(window, object);
    if (bar == nullptr || info->cbSize != sizeof *info)
        return FALSE;
    const QRect place(bar->mapToGlobal(QPoint(0, 0)), bar->size());
    const QStyleOptionSlider option = optionOf(*bar);
    const auto part = [&](QStyle::SubControl control) {
        return bar->style()->subControlRect(QStyle::CC_ScrollBar, &option, control, bar);
    };
    const QRect thumb = part(QStyle::SC_ScrollBarSlider);
    const bool upright = bar->orientation() == Qt::Vertical;
    *info = {};
    info->cbSize = sizeof *info;
    info->rcScrollBar = rectOf(place);
    info->dxyLineButton =
        upright ? part(QStyle::SC_ScrollBarSubLine).height() : part(QStyle::SC_ScrollBarSubLine).width();
    info->xyThumbTop = upright ? thumb.top() : thumb.left();
    info->xyThumbBottom = upright ? thumb.top() + thumb.height() : thumb.left() + thumb.width();
    if (!bar->isVisible())
        info->rgstate[0] = STATE_SYSTEM_INVISIBLE;
    else if (bar->minimum() == bar->maximum() || !bar->isEnabled())
        info->rgstate[0] = STATE_SYSTEM_UNAVAILABLE;
    return TRUE;
}
