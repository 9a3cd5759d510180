#include "platform/linux/window/control_classes.h"

#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>

namespace dm::platform {
namespace {

class TrackBar final : public QSlider {
public:
    TrackBar() : QSlider(Qt::Horizontal) {}

    WORD code = SB_THUMBPOSITION; ///< what moves it
};

WORD codeOf(int action) {
    switch (action) {
    case QAbstractSlider::SliderSingleStepAdd:
        return SB_LINERIGHT;
    case QAbstractSlider::SliderSingleStepSub:
        return SB_LINELEFT;
    case QAbstractSlider::SliderPageStepAdd:
        return SB_PAGERIGHT;
    case QAbstractSlider::SliderPageStepSub:
        return SB_PAGELEFT;
    case QAbstractSlider::SliderToMinimum:
        return SB_LEFT;
    case QAbstractSlider::SliderToMaximum:
        return SB_RIGHT;
    default:
        return SB_THUMBPOSITION;
    }
}

void tell(HWND window, WORD code) {
    const auto &bar = widgetOf<TrackBar>(window);
    const bool byThumb = code == SB_THUMBPOSITION || code == SB_THUMBTRACK;
    notify(GetParent(window), WM_HSCROLL, MAKEWPARAM(code, byThumb ? bar.value() : 0),
           reinterpret_cast<LPARAM>(window));
}

void setRange(TrackBar &bar, int lowest, int highest) {
    const QSignalBlocker blocker(bar);
    bar.setRange(lowest, highest);
    bar.setPageStep(std::max(1, (highest - lowest) / 5)); // the published default
    bar.update();
}

void setPosition(TrackBar &bar, int position) {
    const QSignalBlocker blocker(bar);
    bar.setValue(position);
    bar.update();
}

bool endsMove(UINT message, WPARAM wParam) {
    return message == WM_LBUTTONUP || message == WM_MOUSEWHEEL ||
           (message == WM_KEYUP && wParam >= VK_PRIOR && wParam <= VK_DOWN);
}

} // namespace

bool makeTrackBar(HWND window, const CREATESTRUCTW &creation) {
    auto *bar = new TrackBar;
    bar->setFocusPolicy(Qt::ClickFocus);
    addPane(window, bar, creation);
    bar->setAccessibleName(textOf(paneOf(window)->text));
    addPart(window, bar, wholeWidget);
    setRange(*bar, 0, 100);
    QObject::connect(bar, &QSlider::actionTriggered, bar, [bar](int action) { bar->code = codeOf(action); });
    QObject::connect(bar, &QSlider::valueChanged, bar,
                     [bar, window] { tell(window, bar->isSliderDown() ? WORD{SB_THUMBTRACK} : bar->code); });
    QObject::connect(bar, &QSlider::sliderReleased, bar, [window] { tell(window, SB_THUMBPOSITION); });
    return true;
}

LRESULT CALLBACK trackBarProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto &bar = widgetOf<TrackBar>(window);
    switch (message) {
    case TBM_GETPOS:
        return bar.value();
    case TBM_SETPOS:
        setPosition(bar, static_cast<int>(lParam));
        return 0;
    case TBM_SETRANGE:
        setRange(bar, LOWORD(lParam), HIWORD(lParam));
        return 0;
    case WM_GETDLGCODE:
        return DLGC_WANTARROWS;
    default:
        break;
    }
    if (!endsMove(message, wParam))
        return DefWindowProcW(window, message, wParam, lParam);
    passOn(window, message);
    if (isOwnWindow(window))
        tell(window, SB_ENDSCROLL);
    return 0;
}

} // namespace dm::platform
