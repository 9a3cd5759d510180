#include "platform/linux/window/style.h"

#include <QProxyStyle>
#include <QStyleFactory>
#include <QWidget>

namespace dm::platform {
namespace {

class Style final : public QProxyStyle {
public:
    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override {
        // Programs paint the knob of a slider as large as the system's is.
        constexpr int knob = 20; // at 96 dots per inch
        if ((metric == PM_SliderLength || metric == PM_SliderThickness) && widget != nullptr)
            return knob * widget->logicalDpiX() / 96;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }

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
};

} // namespace

QStyle *newStyle() {
    return new Style;
}

} // namespace dm::platform
