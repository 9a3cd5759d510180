#include "platform/linux/window/style.h"

#include <QProxyStyle>
#include <QStyleFactory>

namespace dm::platform {
namespace {

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
};

} // namespace

QStyle *newStyle() {
    return new Style;
}

} // namespace dm::platform
