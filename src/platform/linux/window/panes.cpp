#include "platform/linux/window/panes.h"

#include "platform/linux/window/events.h"
#include "platform/linux/window/timers.h"

#include <unordered_map>
#include <utility>
#include <vector>

namespace dm::platform {
namespace {

struct Part {
    HWND window;
    Roles roles;
    OwnHandling own;
};

struct Panes {
    std::unordered_map<HWND, std::unique_ptr<Pane>> all;
    std::unordered_map<QObject *, Part> parts;
    std::vector<QPointer<QWidget>> ended;
};

Panes &panes() {
    static Panes panes;
    return panes;
}

int busy = 0;
Delivery *innermostDelivery = nullptr;

} // namespace

Pane *paneOf(HWND window) {
    const auto found = panes().all.find(window);
    if (found != panes().all.end())
        return found->second.get();
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
}

HWND windowOfWidget(QWidget *widget) {
    // An open list belongs to its combo box, but a dialog does not belong to its owner.
    const auto parentOf = [](const QWidget *each) {
        return each->isWindow() && each->windowType() != Qt::Popup ? nullptr : each->parentWidget();
    };
    for (QWidget *each = widget; each != nullptr; each = parentOf(each)) {
        const auto found = panes().parts.find(each);
        if (found != panes().parts.end())
            return found->second.window;
    }
    return nullptr;
}

Pane &addPane(HWND window, QWidget *widget, const CREATESTRUCTW &creation) {
    auto pane = std::make_unique<Pane>();
    pane->window = window;
    pane->widget = widget;
    pane->client = widget;
    pane->ownsWidget = widget->parentWidget() == nullptr;
    const Window &own = *windowOf(window);
    const Pane *parent = own.parent == nullptr || !pane->ownsWidget ? nullptr : paneOf(own.parent);
    if (parent != nullptr) {
        widget->hide(); // or it would show itself together with its parent
        widget->setParent(parent->client);
        widget->setGeometry(creation.x, creation.y, creation.cx, creation.cy);
    }
    if (creation.lpszName != nullptr)
        pane->text = creation.lpszName;
    widget->setEnabled((own.style & WS_DISABLED) == 0);
    widget->setMouseTracking(true);
    return *panes().all.emplace(window, std::move(pane)).first->second;
}

void addPart(HWND window, QObject *part, Roles roles, OwnHandling own) {
    if (own == nullptr)
        own = [part](QEvent &event) { return part->event(&event); };
    panes().parts.insert_or_assign(part, Part{window, roles, std::move(own)});
    part->installEventFilter(&eventWatcher());
}

bool handlePartEvent(QObject *object, QEvent *event) {
    const auto found = panes().parts.find(object);
    return found != panes().parts.end() && handleEvent(found->second.window, found->second.roles, object, event);
}

Busy::Busy() {
    ++busy;
}

Busy::~Busy() {
    --busy;
}

LRESULT deliver(HWND window, UINT message, WPARAM wParam, LPARAM lParam, QObject *target, QEvent *event) {
    const Busy scope;
    Delivery delivery = {window, message, target, event, innermostDelivery};
    innermostDelivery = &delivery;
    const LRESULT result = SendMessageW(window, message, wParam, lParam);
    innermostDelivery = delivery.outer;
    return result;
}

Delivery *deliveryOf(HWND window, UINT message) {
    Delivery *delivery = innermostDelivery;
    while (delivery != nullptr && (delivery->window != window || delivery->message != message))
        delivery = delivery->outer;
    return delivery;
}

bool passOn(HWND window, UINT message) {
    Delivery *delivery = deliveryOf(window, message);
    if (delivery == nullptr || delivery->passedOn)
        return false;
    delivery->passedOn = true;
    delivery->paint.reset(); // only one painter at a time
    const auto part = panes().parts.find(delivery->target);
    if (part != panes().parts.end()) {
        const OwnHandling own = part->second.own; // the window may end meanwhile
        own(*delivery->event);
    }
    return true;
}

LRESULT notify(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const Busy scope;
    return SendMessageW(window, message, wParam, lParam);
}

void removePane(HWND window) {
    const auto found = panes().all.find(window);
    if (found == panes().all.end())
        return;
    killTimersOf(window);
    std::erase_if(panes().parts, [window](const auto &part) {
        if (part.second.window == window)
            part.first->removeEventFilter(&eventWatcher());
        return part.second.window == window;
    });
    QWidget *widget = found->second->widget;
    const bool owned = found->second->ownsWidget;
    panes().all.erase(found);
    if (!owned)
        return;
    widget->hide();
    panes().ended.emplace_back(widget);
    buryWidgets();
}

void buryWidgets() {
    if (busy > 0)
        return;
    for (const QPointer<QWidget> &widget : std::exchange(panes().ended, {}))
        delete widget.data();
}

WString wideOf(const QString &text) {
    return {reinterpret_cast<const WChar *>(text.utf16()), static_cast<std::size_t>(text.size())};
}

QString textOf(WStringView text) {
    return QString(reinterpret_cast<const QChar *>(text.data()), static_cast<qsizetype>(text.size()));
}

QRect rectOf(const RECT &rect) {
    return {QPoint(rect.left, rect.top), QSize(rect.right - rect.left, rect.bottom - rect.top)};
}

RECT rectOf(const QRect &rect) {
    return {rect.x(), rect.y(), rect.x() + rect.width(), rect.y() + rect.height()};
}

} // namespace dm::platform
