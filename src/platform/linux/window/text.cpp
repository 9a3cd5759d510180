#include "platform/linux/window/device_context.h"

#include <QFontMetricsF>
#include <QTextBoundaryFinder>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace dm::platform {

namespace {

/// A text laid out in lines of a font, within a width.
struct TextBlock {
    const Font &font;
    QTextOption option;
    int width;
};

QTextOption optionFor(UINT format) {
    QTextOption option;
    option.setTextDirection((format & DT_RTLREADING) != 0 ? Qt::RightToLeft : Qt::LeftToRight);
    option.setWrapMode((format & DT_WORDBREAK) != 0 && (format & DT_SINGLELINE) == 0 ? QTextOption::WordWrap
                                                                                     : QTextOption::NoWrap);
    return option;
}

/// Every line break becomes one unit: the layout's own, or a blank where the text is a single line.
QString withBreaks(const char16_t *text, qsizetype length, UINT format) {
    QString result = QString::fromUtf16(text, length);
    const QChar lineBreak = (format & DT_SINGLELINE) != 0 ? QChar(u' ') : QChar(QChar::LineSeparator);
    result.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    for (QChar &unit : result) {
        if (unit == u'\r' || unit == u'\n')
            unit = lineBreak;
    }
    // A break at the end begins no line.
    if (result.endsWith(QChar::LineSeparator))
        result.chop(1);
    return result;
}

/// Breaks the text into the lines that the layout holds then.
void layOut(QTextLayout &layout, const TextBlock &block) {
    layout.setTextOption(block.option);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine())
        line.setLineWidth(block.width);
    layout.endLayout();
}

qreal naturalWidth(const QString &text, const TextBlock &block) {
    QTextLayout layout(text, block.font.font);
    TextBlock unbroken = block;
    unbroken.option.setWrapMode(QTextOption::NoWrap);
    layOut(layout, unbroken);
    return layout.lineAt(0).naturalTextWidth();
}

/// The longest beginning of the text that fits the width together with an ellipsis; the ellipsis at least.
QString shortened(const QString &text, const TextBlock &block) {
    std::vector<qsizetype> ends = {0};
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    while (finder.toNextBoundary() >= 0)
        ends.push_back(finder.position());

    const auto withEllipsis = [&text](qsizetype end) { return text.left(end) + QChar(u'…'); };
    const auto tooLong = std::partition_point(ends.begin() + 1, ends.end(), [&](qsizetype end) {
        return naturalWidth(withEllipsis(end), block) <= block.width;
    });
    return withEllipsis(*(tooLong - 1));
}

/// How wide and high the lines are together, in whole pixels.
QSize sizeOf(const QTextLayout &layout, const Font &font) {
    qreal widest = 0;
    for (int line = 0; line < layout.lineCount(); ++line)
        widest = std::max(widest, layout.lineAt(line).naturalTextWidth());
    return {static_cast<int>(std::ceil(widest)), layout.lineCount() * font.height};
}

int leftOf(const QTextLine &line, const RECT &rect, UINT format) {
    const int slack = rect.right - rect.left - static_cast<int>(std::ceil(line.naturalTextWidth()));
    if ((format & DT_CENTER) != 0)
        return rect.left + slack / 2;
    return (format & DT_RIGHT) != 0 ? rect.left + slack : rect.left;
}

void drawLine(DeviceContext &context, const QTextLine &line, const RECT &rect, int top, UINT format) {
    PainterState state = {.transform = {}, .clip = context.state.clip, .antialias = false};
    state.clip &= QRect(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
    QPainter *painter = preparedPainter(context, state);
    if (painter == nullptr)
        return;

    const Font &font = fontIn(context);
    const int left = leftOf(line, rect, format);
    if (context.state.opaque) {
        const int width = static_cast<int>(std::ceil(line.naturalTextWidth()));
        painter->fillRect(left, top, width, font.height, context.state.backColor);
    }
    painter->setPen(context.state.textColor);
    // The characters may come from several fonts; all stand on the base line of the one selected.
    line.draw(painter, QPointF(left, top + font.ascent - line.y() - line.ascent()));
}

/// The line from its first unit to the end or the next break in the text, ended by an ellipsis.
QString shortenedTail(const QString &text, const QTextLine &line, const TextBlock &block) {
    const qsizetype end = text.indexOf(QChar::LineSeparator, line.textStart());
    return shortened(text.mid(line.textStart(), end < 0 ? -1 : end - line.textStart()), block);
}

/// Draws the lines one below the other; the last that there is room for ends in an ellipsis if that is asked for and
/// anything of the text is left out.
void drawLines(DeviceContext &context, const QString &text, const QTextLayout &layout, const TextBlock &block,
               const RECT &rect, UINT format) {
    const Font &font = block.font;
    const bool ellipsis = (format & DT_END_ELLIPSIS) != 0;
    // An eighth of a line is less than what lies below the letters' feet.
    const int room = std::max((rect.bottom - rect.top + font.height / 8) / font.height, 1);
    const int lines = ellipsis ? std::min(layout.lineCount(), room) : layout.lineCount();

    int top = rect.top;
    if ((format & DT_SINGLELINE) != 0 && (format & DT_VCENTER) != 0)
        top += (rect.bottom - rect.top - font.height) / 2;
    for (int index = 0; index < lines; ++index, top += font.height) {
        const QTextLine line = layout.lineAt(index);
        const bool whole = index + 1 < lines || (lines == layout.lineCount() && line.naturalTextWidth() <= block.width);
        if (whole || !ellipsis) {
            drawLine(context, line, rect, top, format);
            continue;
        }
        TextBlock single = block;
        single.option.setWrapMode(QTextOption::NoWrap);
        QTextLayout tail(shortenedTail(text, line, single), font.font);
        layOut(tail, single);
        drawLine(context, tail.lineAt(0), rect, top, format);
    }
}

} // namespace

} // namespace dm::platform

using namespace dm::platform;

int WINAPI DrawTextW(HDC dc, LPCWSTR text, int length, RECT *rect, UINT format) {
    constexpr UINT known = DT_LEFT | DT_CENTER | DT_RIGHT | DT_VCENTER | DT_WORDBREAK | DT_SINGLELINE | DT_CALCRECT |
                           DT_NOPREFIX | DT_END_ELLIPSIS | DT_RTLREADING;
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return 0;
    if (text == nullptr || rect == nullptr || length < -1 || (format & ~known) != 0 || (format & DT_NOPREFIX) == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }

    const TextBlock block = {fontIn(*context), optionFor(format), rect->right - rect->left};
    const QString shown = withBreaks(text, length, format);
    QTextLayout layout(shown, block.font.font);
    layOut(layout, block);
    const QSize size = sizeOf(layout, block.font);
    if ((format & DT_CALCRECT) != 0) {
        rect->right = rect->left + size.width();
        rect->bottom = rect->top + size.height();
    } else {
        drawLines(*context, shown, layout, block, *rect, format);
    }
    return size.height();
}
