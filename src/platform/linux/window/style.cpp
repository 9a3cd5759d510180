#include "platform/linux/window/style.h"

#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOptionSlider>
#include <QWidget>

namespace dm::platform {
namespace {

/// Programs paint the knob of a slider as large as the system's is.
constexpr int knobLength = 20; // at 96 dots per inch

class Style final : public QProxyStyle {
public:
    Style() : QProxyStyle(QStyleFactory::create("Fusion")) {}

    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *data) const override {
        switch (hint) {
        case SH_ComboBox_Popup:
            return 0; // a list below the control, not a menu over it
        case SH_Slider_AbsoluteSetButtons:
            return Qt::NoButton; // a press beside the knob moves it by a page
        default:
            return QProxyStyle::styleHint(hint, option, widget, data);
        }
    }
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl part,
                         const QWidget *widget) const override {
        const auto *slider = qstyleoption_cast<const QStyleOptionSlider *>(option);
        if (control != CC_Slider || part != SC_SliderHandle || slider == nullptr || widget == nullptr)
            return QProxyStyle::subControlRect(control, option, part, widget);
        const int length = knobLength * widget->logicalDpiX() / 96;
        const int left = sliderPositionFromValue(slider->minimum, slider->maximum, slider->sliderPosition,
                                                 slider->rect.width() - length, slider->upsideDown);
        return {left, (slider->rect.height() - length) / 2, length, length};
    }
};

} // namespace

QStyle *newStyle() {
    return new Style;
}

} // namespace dm::platform
