#include "platform/linux/window/control_classes.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QStylePainter>
#include <QStyledItemDelegate>

#include <algorithm>
#include <cmath>

namespace dm::platform {
namespace {

class ComboBox final : public QComboBox {
public:
    explicit ComboBox(HWND window) : window_(window) {}

    int fieldHeight = 0;
    int itemHeight = 0;
    int openHeight = 0; ///< as given: the control with its list
    int toldIndex = -1; ///< the one that the program knows of

    bool isOwnerDrawn() const { return (windowOf(window_)->style & CBS_OWNERDRAWFIXED) != 0; }
    /// The selection field with the frame, which grows with it.
    int closedHeight() const { return fieldHeight + 2 * static_cast<int>(std::lround(fieldHeight / 10.0)); }

    /// Has the parent draw an item, or the selection field.
    void drawItem(QPainter &painter, const QRect &rect, int index, UINT state) const {
        const PaintDc dc(painter, rect);
        const auto id = static_cast<UINT>(GetDlgCtrlID(window_));
        DRAWITEMSTRUCT item = {ODT_COMBOBOX, id, static_cast<UINT>(index), ODA_DRAWENTIRE, state, window_, dc.get(),
                               rectOf(rect), 0};
        notify(GetParent(window_), WM_DRAWITEM, id, reinterpret_cast<LPARAM>(&item));
    }

    void showPopup() override {
        applyColors(window_, WM_CTLCOLORLISTBOX, *view());
        setMaxVisibleItems(std::max(1, (openHeight - closedHeight()) / std::max(1, itemHeight)));
        QComboBox::showPopup();
    }

protected:
    void paintEvent(QPaintEvent *event) override {
        if (!isOwnerDrawn()) {
            QComboBox::paintEvent(event);
            return;
        }
        QStylePainter painter(this);
        QStyleOptionComboBox option;
        initStyleOption(&option);
        painter.drawComplexControl(QStyle::CC_ComboBox, option);
        const QRect field = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
        UINT state = ODS_COMBOBOXEDIT | (itemStateOf(window_) & (ODS_FOCUS | ODS_DISABLED));
        if ((state & ODS_FOCUS) != 0)
            state |= ODS_SELECTED;
        drawItem(painter, field, currentIndex(), state);
    }

private:
    HWND window_;
};

class ItemDelegate final : public QStyledItemDelegate {
public:
    explicit ItemDelegate(ComboBox &box) : QStyledItemDelegate(&box), box_(box) {}

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override {
        return {QStyledItemDelegate::sizeHint(option, index).width(), box_.itemHeight};
    }
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override {
        if (!box_.isOwnerDrawn()) {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        const bool selected = option.state.testFlag(QStyle::State_Selected);
        box_.drawItem(*painter, option.rect, index.row(), selected ? ODS_SELECTED | ODS_FOCUS : 0);
    }

private:
    ComboBox &box_;
};

/// Adding leaves the selection and the text alone, which Qt's first item would change.
LRESULT addString(ComboBox &box, LPCWSTR text) {
    const QSignalBlocker blocker(box);
    const int selected = box.currentIndex();
    const QString typed = box.currentText();
    box.addItem(textOf(text));
    box.setCurrentIndex(selected);
    if (box.isEditable())
        box.setEditText(typed);
    return box.count() - 1;
}

LRESULT setSelection(ComboBox &box, int index) {
    const int valid = index >= 0 && index < box.count() ? index : -1;
    box.setCurrentIndex(valid);
    box.toldIndex = valid;
    return valid;
}

LRESULT setItemHeight(ComboBox &box, int which, int height) {
    if (which == -1) {
        box.fieldHeight = height;
        box.resize(box.width(), box.closedHeight());
    } else {
        box.itemHeight = height;
    }
    return 0;
}

void measureItems(HWND window, ComboBox &box) {
    box.itemHeight = box.fieldHeight = box.fontMetrics().height();
    if (!box.isOwnerDrawn())
        return;
    const auto id = static_cast<UINT>(GetDlgCtrlID(window));
    MEASUREITEMSTRUCT measure = {ODT_COMBOBOX, id, 0, 0, static_cast<UINT>(box.itemHeight), 0};
    SendMessageW(GetParent(window), WM_MEASUREITEM, id, reinterpret_cast<LPARAM>(&measure));
    box.itemHeight = box.fieldHeight = static_cast<int>(measure.itemHeight);
}

void tellSelection(HWND window, int index) {
    auto &box = widgetOf<ComboBox>(window);
    if (index == box.toldIndex)
        return;
    box.toldIndex = index;
    sendCommand(window, CBN_SELCHANGE);
}

std::optional<LRESULT> answer(ComboBox &box, UINT message, WPARAM wParam, LPARAM lParam) {
    const QString text = box.currentText();
    switch (message) {
    case CB_ADDSTRING:
        return addString(box, reinterpret_cast<LPCWSTR>(lParam));
    case CB_RESETCONTENT:
        box.clear();
        box.toldIndex = -1;
        return 0;
    case CB_GETCURSEL:
        return box.currentIndex();
    case CB_SETCURSEL:
        return setSelection(box, static_cast<int>(wParam));
    case CB_SETITEMHEIGHT:
        return setItemHeight(box, static_cast<int>(wParam), static_cast<int>(lParam));
    case WM_GETTEXTLENGTH:
        return text.size();
    case WM_GETTEXT: {
        if (wParam == 0)
            return 0;
        const std::size_t copied = std::min<std::size_t>(static_cast<std::size_t>(text.size()), wParam - 1);
        std::copy_n(text.utf16(), copied, reinterpret_cast<WChar *>(lParam))[0] = 0;
        return static_cast<LRESULT>(copied);
    }
    case WM_SETTEXT:
        if (!box.isEditable())
            return CB_ERR;
        box.setEditText(textOf(reinterpret_cast<LPCWSTR>(lParam)));
        return TRUE;
    case WM_GETDLGCODE:
        return DLGC_WANTCHARS | DLGC_WANTARROWS | (box.isEditable() ? DLGC_HASSETSEL : 0);
    default:
        return std::nullopt;
    }
}

} // namespace

bool makeComboBox(HWND window, const CREATESTRUCTW &creation) {
    auto *box = new ComboBox(window);
    if ((static_cast<DWORD>(creation.style) & CBS_DROPDOWNLIST) == CBS_DROPDOWN) {
        box->setEditable(true);
        box->setInsertPolicy(QComboBox::NoInsert);
        box->setCompleter(nullptr);
    }
    box->setItemDelegate(new ItemDelegate(*box));
    box->setFocusPolicy(Qt::ClickFocus);
    Pane &pane = addPane(window, box, creation);
    addPart(window, box, wholeWidget);
    measureItems(window, *box);
    pane.fit = [box](QSize given) {
        box->openHeight = given.height();
        return QSize(given.width(), box->closedHeight());
    };
    box->resize(pane.fit(QSize(creation.cx, creation.cy)));
    QObject::connect(box, &QComboBox::activated, box, [window](int index) { tellSelection(window, index); });
    return true;
}

LRESULT CALLBACK comboBoxProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto &box = widgetOf<ComboBox>(window);
    if (const auto result = answer(box, message, wParam, lParam))
        return *result;
    if (message == WM_PAINT)
        applyColors(window, IsWindowEnabled(window) != FALSE ? WM_CTLCOLOREDIT : WM_CTLCOLORSTATIC, box);
    if (message == WM_MOUSEWHEEL) {
        passOn(window, message);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

} // namespace dm::platform
