#include "platform/linux/window/style.h"

#include "platform/linux/window/desktop_settings.h"

#include <QPainter>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOptionComboBox>
#include <QStyleOptionSlider>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace dm::platform {
namespace {

/// Programs paint the knob of a slider as large as the system's is.
constexpr int knobLength = 20; // at 96 dots per inch

QColor between(const QColor &from, const QColor &to, float part) {
    const auto mixed = [part](int a, int b) {
        return a + static_cast<int>(std::lround(part * static_cast<float>(b - a)));
    };
    return {mixed(from.red(), to.red()), mixed(from.green(), to.green()), mixed(from.blue(), to.blue())};
}

/// A frame in the colours that the program gave to the control, and the arrow; everything grows with the height.
void drawComboBox(const QStyleOptionComboBox &option, QPainter &painter) {
    const QColor base = option.palette.color(QPalette::Base);
    const QColor text = option.palette.color(QPalette::Text);
    const bool focused = option.state.testFlag(QStyle::State_HasFocus);
    const float strength = desktopSettings().highContrast ? 1.0F : focused ? 0.6F : 0.2F;
    const auto height = static_cast<qreal>(option.rect.height());
    const qreal line = std::max(1.0, std::round(height / 37));
    const QRectF frame = QRectF(option.rect).adjusted(1.5 * line, 1.5 * line, -1.5 * line, -1.5 * line);

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(option.rect, base);
    painter.setPen(QPen(between(base, text, strength), line));
    painter.drawRoundedRect(frame, height / 5, height / 5);
    const qreal reach = height / 8;
    const QPointF tip(option.rect.right() - height / 2, option.rect.top() + height / 2 + reach / 2);
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    painter.setPen(
        QPen(between(base, text, enabled ? 0.8F : 0.4F), height / 22, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF{tip + QPointF(-reach, -reach), tip, tip + QPointF(reach, -reach)});
    painter.restore();
}

/// Clear of the frame's round corners and of the arrow.
QRect comboField(const QRect &box) {
    const int border = static_cast<int>(std::lround(box.height() / 12.0));
    return box.adjusted(box.height() / 6, border, -box.height(), -border);
}

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
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex *option, QPainter *painter,
                            const QWidget *widget) const override {
        const auto *box = qstyleoption_cast<const QStyleOptionComboBox *>(option);
        if (control == CC_ComboBox && box != nullptr)
            drawComboBox(*box, *painter);
        else
            QProxyStyle::drawComplexControl(control, option, painter, widget);
    }
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl part,
                         const QWidget *widget) const override {
        if (control == CC_ComboBox && part == SC_ComboBoxEditField)
            return comboField(option->rect);
        if (control == CC_ComboBox && part == SC_ComboBoxArrow)
            return option->rect.adjusted(option->rect.width() - option->rect.height(), 0, 0, 0);
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
