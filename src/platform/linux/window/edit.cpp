#include "platform/linux/window/control_classes.h"
#include "platform/linux/window/scroll_bars.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRegularExpressionValidator>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>

namespace dm::platform {
namespace {

constexpr DWORD borderStyles = 0x00800000U; // WS_BORDER
constexpr DWORD sunkenEdge = 0x00000200U;   // WS_EX_CLIENTEDGE
constexpr int longestText = 0x7FFFFFFE;     // what EM_SETLIMITTEXT of 0 means

/// Begins each line at the right edge where the text is read from there. Qt's own layout has them all begin at the
/// left.
class TextLayout final : public QPlainTextDocumentLayout {
public:
    TextLayout(QTextDocument *document, const QPlainTextEdit &edit) : QPlainTextDocumentLayout(document), edit_(edit) {}

    QRectF blockBoundingRect(const QTextBlock &block) const override {
        const QRectF rect = QPlainTextDocumentLayout::blockBoundingRect(block);
        const qreal margin = document()->documentMargin();
        const qreal width = std::max<qreal>(documentSize().width(), edit_.viewport()->width());
        for (int index = 0; index < block.layout()->lineCount(); ++index) {
            QTextLine line = block.layout()->lineAt(index);
            line.setPosition({edit_.isRightToLeft() ? width - margin - line.naturalTextWidth() : margin, line.y()});
        }
        return rect;
    }

private:
    const QPlainTextEdit &edit_;
};

/// Several lines. In messages a line ends with two units, CR and LF; in Qt a line is a block and its end counts once.
class TextEdit final : public QPlainTextEdit {
public:
    TextEdit() {
        auto *text = new QTextDocument(this);
        text->setDocumentLayout(new TextLayout(text, *this));
        setDocument(text);
    }

    using QPlainTextEdit::viewportEvent;

protected:
    void changeEvent(QEvent *event) override {
        QPlainTextEdit::changeEvent(event);
        if (event->type() != QEvent::LayoutDirectionChange)
            return;
        QTextOption option = document()->defaultTextOption();
        option.setTextDirection(layoutDirection());
        document()->setDefaultTextOption(option);
        horizontalScrollBar()->setValue(0); // where lines begin
    }
};

struct Selection {
    qsizetype anchor;
    qsizetype caret;
};

bool isMultiLine(HWND window) {
    return (windowOf(window)->style & ES_MULTILINE) != 0;
}

qsizetype unitOf(const QTextDocument &document, int position) {
    return position + document.findBlock(position).blockNumber();
}

int positionOf(const QTextDocument &document, qsizetype unit) {
    int first = 0;
    int last = document.blockCount() - 1;
    while (first < last) {
        const int middle = first + (last - first + 1) / 2;
        if (document.findBlockByNumber(middle).position() + middle <= unit)
            first = middle;
        else
            last = middle - 1;
    }
    const QTextBlock block = document.findBlockByNumber(first);
    const qsizetype inside = unit - block.position() - first;
    return block.position() + static_cast<int>(std::clamp<qsizetype>(inside, 0, block.length() - 1));
}

void select(TextEdit &edit, Selection selection) {
    QTextCursor cursor = edit.textCursor();
    cursor.setPosition(positionOf(*edit.document(), selection.anchor));
    cursor.setPosition(positionOf(*edit.document(), selection.caret), QTextCursor::KeepAnchor);
    // Only EM_SCROLLCARET scrolls.
    const int line = edit.verticalScrollBar()->value();
    const int column = edit.horizontalScrollBar()->value();
    edit.setTextCursor(cursor);
    edit.verticalScrollBar()->setValue(line);
    edit.horizontalScrollBar()->setValue(column);
}

Selection selectionOf(const TextEdit &edit) {
    const QTextCursor cursor = edit.textCursor();
    return {unitOf(*edit.document(), cursor.selectionStart()), unitOf(*edit.document(), cursor.selectionEnd())};
}

qsizetype lengthOf(const TextEdit &edit) {
    return unitOf(*edit.document(), edit.document()->characterCount() - 1);
}

void setText(TextEdit &edit, const QString &text) {
    edit.setPlainText(QString(text).replace(QLatin1String("\r\n"), QLatin1String("\n")));
}

QString textIn(const TextEdit &edit) {
    return edit.toPlainText().replace(QLatin1Char('\n'), QLatin1String("\r\n"));
}

void select(QLineEdit &edit, Selection selection) {
    const auto length = edit.text().size();
    const auto anchor = std::clamp<qsizetype>(selection.anchor, 0, length);
    const auto caret = std::clamp<qsizetype>(selection.caret, 0, length);
    edit.setSelection(static_cast<int>(anchor), static_cast<int>(caret - anchor));
}

Selection selectionOf(const QLineEdit &edit) {
    if (!edit.hasSelectedText())
        return {edit.cursorPosition(), edit.cursorPosition()};
    return {edit.selectionStart(), edit.selectionEnd()};
}

qsizetype lengthOf(const QLineEdit &edit) {
    return edit.text().size();
}

/// A limit is for what is typed, so it gives way to a text that is set.
void setText(QLineEdit &edit, const QString &text) {
    edit.setMaxLength(std::max<int>(edit.maxLength(), static_cast<int>(text.size())));
    edit.setText(text);
}

QString textIn(const QLineEdit &edit) {
    return edit.text();
}

void tellSelection(Selection selection, WPARAM start, LPARAM end) {
    if (start != 0)
        *reinterpret_cast<DWORD *>(start) = static_cast<DWORD>(selection.anchor);
    if (end != 0)
        *reinterpret_cast<DWORD *>(end) = static_cast<DWORD>(selection.caret);
}

LRESULT copyOut(const QString &text, WPARAM units, LPARAM to) {
    if (units == 0)
        return 0;
    auto *copy = reinterpret_cast<WChar *>(to);
    const std::size_t copied = std::min<std::size_t>(static_cast<std::size_t>(text.size()), units - 1);
    std::copy_n(text.utf16(), copied, copy);
    copy[copied] = 0;
    return static_cast<LRESULT>(copied);
}

/// What both kinds answer in the same way; none for another message.
template <typename Edit>
std::optional<LRESULT> answer(Edit &edit, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_SETTEXT: {
        const auto *text = reinterpret_cast<LPCWSTR>(lParam);
        setText(edit, text == nullptr ? QString() : textOf(text));
        return TRUE;
    }
    case WM_GETTEXT:
        return copyOut(textIn(edit), wParam, lParam);
    case WM_GETTEXTLENGTH:
        return lengthOf(edit);
    case EM_GETSEL: {
        const Selection selection = selectionOf(edit);
        tellSelection(selection, wParam, lParam);
        return std::max(selection.anchor, selection.caret) > 0xFFFF ? -1 : MAKELONG(selection.anchor, selection.caret);
    }
    case EM_SETSEL: {
        const auto anchor = static_cast<int>(wParam);
        const auto caret = static_cast<int>(lParam);
        if (anchor < 0)
            select(edit, {selectionOf(edit).caret, selectionOf(edit).caret});
        else
            select(edit, {anchor, caret < 0 ? lengthOf(edit) : caret});
        return TRUE;
    }
    default:
        return std::nullopt;
    }
}

std::optional<LRESULT> answerLines(TextEdit &edit, UINT message, LPARAM lParam) {
    QScrollBar &bar = *edit.verticalScrollBar();
    switch (message) {
    case EM_GETFIRSTVISIBLELINE:
        return bar.value();
    case EM_LINESCROLL:
        bar.setValue(bar.value() + static_cast<int>(lParam));
        return TRUE;
    case EM_SCROLLCARET:
        edit.ensureCursorVisible();
        return TRUE;
    case WM_GETDLGCODE:
        return DLGC_WANTCHARS | DLGC_HASSETSEL | DLGC_WANTARROWS | DLGC_WANTALLKEYS;
    default:
        return std::nullopt;
    }
}

std::optional<LRESULT> answerLine(QLineEdit &edit, UINT message, WPARAM wParam) {
    switch (message) {
    case EM_SETLIMITTEXT:
        edit.setMaxLength(wParam == 0 ? longestText : static_cast<int>(std::min<WPARAM>(wParam, longestText)));
        return TRUE;
    case WM_GETDLGCODE:
        return DLGC_WANTCHARS | DLGC_HASSETSEL | DLGC_WANTARROWS;
    default:
        return std::nullopt;
    }
}

void makeLine(HWND window, const CREATESTRUCTW &creation) {
    auto *edit = new QLineEdit;
    const auto style = static_cast<DWORD>(creation.style);
    edit->setFrame((style & borderStyles) != 0 || (creation.dwExStyle & sunkenEdge) != 0);
    edit->setMaxLength(30000); // as long as no limit is set
    edit->setReadOnly((style & ES_READONLY) != 0);
    if ((style & ES_NUMBER) != 0)
        edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), edit));
    addPane(window, edit, creation);
    addPart(window, edit, wholeWidget);
}

/// The text has the program's colours. In those the bars could not be told from it.
void keepSystemColors(QScrollBar &bar) {
    QPalette palette = QGuiApplication::palette();
    for (const QPalette::ColorRole role : {QPalette::Base, QPalette::Button, QPalette::Window, QPalette::Text,
                                           QPalette::ButtonText, QPalette::WindowText})
        palette.setColor(role, palette.color(role));
    bar.setPalette(palette);
}

void makeLines(HWND window, const CREATESTRUCTW &creation) {
    auto *edit = new TextEdit;
    const auto style = static_cast<DWORD>(creation.style);
    edit->setFrameShape(QFrame::NoFrame);
    edit->setReadOnly((style & ES_READONLY) != 0);
    edit->setUndoRedoEnabled((style & ES_READONLY) == 0);
    // Also a text that is only read has a caret: the keys go through it, select, and reach the end of a long line.
    if ((style & ES_READONLY) != 0)
        edit->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    edit->setLineWrapMode((style & ES_AUTOHSCROLL) != 0 ? QPlainTextEdit::NoWrap : QPlainTextEdit::WidgetWidth);
    edit->setVerticalScrollBarPolicy((style & WS_VSCROLL) != 0 ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    edit->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    keepSystemColors(*edit->verticalScrollBar());
    Pane &pane = addPane(window, edit, creation);
    pane.client = edit->viewport();
    addPart(window, edit, Role::Keys | Role::Place);
    addPart(window, edit->viewport(), static_cast<Roles>(Role::Client),
            [edit](QEvent &event) { return edit->viewportEvent(&event); });
    addScrollBars(window, *edit);
}

} // namespace

bool makeEdit(HWND window, const CREATESTRUCTW &creation) {
    if ((static_cast<DWORD>(creation.style) & ES_MULTILINE) != 0)
        makeLines(window, creation);
    else
        makeLine(window, creation);
    paneOf(window)->widget->setFocusPolicy(Qt::ClickFocus);
    if (creation.lpszName != nullptr)
        SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(creation.lpszName));
    return true;
}

LRESULT CALLBACK editProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_PAINT) {
        const bool isStill = (windowOf(window)->style & ES_READONLY) != 0 || IsWindowEnabled(window) == FALSE;
        applyColors(window, isStill ? WM_CTLCOLORSTATIC : WM_CTLCOLOREDIT, *paneOf(window)->widget);
    } else if (message == WM_MOUSEWHEEL && isMultiLine(window)) {
        passOn(window, message);
        return 0;
    }
    std::optional<LRESULT> result;
    if (isMultiLine(window)) {
        auto &edit = widgetOf<TextEdit>(window);
        result = answer(edit, message, wParam, lParam);
        if (!result)
            result = answerLines(edit, message, lParam);
    } else {
        auto &edit = widgetOf<QLineEdit>(window);
        result = answer(edit, message, wParam, lParam);
        if (!result)
            result = answerLine(edit, message, wParam);
    }
    return result ? *result : DefWindowProcW(window, message, wParam, lParam);
}

} // namespace dm::platform
