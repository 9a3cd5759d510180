#include "platform/linux/window/control_classes.h"
#include "platform/linux/window/scroll_bars.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTableView>

#include <algorithm>
#include <vector>

namespace dm::platform {
namespace {

/// The rows are a number and no more: their texts are asked for when they are shown.
class Rows final : public QAbstractTableModel {
public:
    Rows(HWND window, QObject *parent) : QAbstractTableModel(parent), window_(window) {}

    std::vector<QString> titles;

    int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : count_; }
    int columnCount(const QModelIndex &parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(titles.size());
    }
    QVariant data(const QModelIndex &index, int role) const override {
        return role == Qt::DisplayRole ? QVariant(askText(index.row(), index.column())) : QVariant();
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= columnCount())
            return {};
        return titles[static_cast<std::size_t>(section)];
    }

    /// Rows come and go at the end, so that the place in the list stays.
    void setCount(int count) {
        if (count > count_) {
            beginInsertRows({}, count_, count - 1);
            count_ = count;
            endInsertRows();
        } else if (count < count_) {
            beginRemoveRows({}, count, count_ - 1);
            count_ = count;
            endRemoveRows();
        }
    }
    void insertTitle(int column, const QString &title) {
        beginInsertColumns({}, column, column);
        titles.insert(titles.begin() + column, title);
        endInsertColumns();
    }
    void setTitle(int column, const QString &title) {
        titles[static_cast<std::size_t>(column)] = title;
        emit headerDataChanged(Qt::Horizontal, column, column);
    }

private:
    QString askText(int row, int column) const {
        WChar room[260] = {};
        NMLVDISPINFOW question = {};
        question.item.mask = LVIF_TEXT;
        question.item.iItem = row;
        question.item.iSubItem = column;
        question.item.pszText = room;
        question.item.cchTextMax = static_cast<int>(std::size(room));
        sendNotify(window_, question.hdr, LVN_GETDISPINFOW);
        return question.item.pszText == nullptr ? QString() : textOf(question.item.pszText);
    }

    HWND window_;
    int count_ = 0;
};

/// The selection is kept here as a bit a row: Qt's own is slow for many scattered rows.
class ListView final : public QTableView {
public:
    explicit ListView(HWND window) : window_(window), rows_(new Rows(window, this)) { setModel(rows_); }

    using QTableView::viewportEvent;

    Rows &rows() { return *rows_; }
    int count() const { return rows_->rowCount(); }
    bool isSelected(int row) const { return row >= 0 && row < count() && selected_[static_cast<std::size_t>(row)]; }
    int selectedCount() const { return selectedCount_; }
    int focusedRow() const { return currentIndex().row(); }

    void setCount(int count) {
        rows_->setCount(count);
        selected_.resize(static_cast<std::size_t>(count));
        selectedCount_ = static_cast<int>(std::count(selected_.begin(), selected_.end(), true));
        anchor_ = std::min(anchor_, count - 1);
    }
    /// Makes the rows as high as the font asks for. The header goes through all of them for that, and would tell of
    /// each on its own; there may be a million.
    void fitRows() {
        constexpr int roomAround = 5;
        const int height = QFontMetrics(font()).height() + roomAround;
        if (verticalHeader()->defaultSectionSize() != height) {
            const QSignalBlocker silence(verticalHeader());
            verticalHeader()->setDefaultSectionSize(height);
        }
        updateGeometries();
        viewport()->update();
    }
    /// The next selected row behind one, or -1.
    int nextSelected(int row) const {
        const auto from = selected_.begin() + std::clamp(row + 1, 0, count());
        const auto found = std::find(from, selected_.end(), true);
        return found == selected_.end() ? -1 : static_cast<int>(found - selected_.begin());
    }

    /// Without telling anybody. False where nothing changes.
    bool setSelected(int row, bool selected) {
        if (isSelected(row) == selected)
            return false;
        selected_[static_cast<std::size_t>(row)] = selected;
        selectedCount_ += selected ? 1 : -1;
        return true;
    }
    bool setAllSelected(bool selected) {
        const int wanted = selected ? count() : 0;
        if (selectedCount_ == wanted)
            return false;
        std::fill(selected_.begin(), selected_.end(), selected);
        selectedCount_ = wanted;
        return true;
    }
    /// -1 takes the focus from all rows. The list stays where it is.
    void setFocusedRow(int row) {
        setAutoScroll(false);
        selectionModel()->setCurrentIndex(row < 0 ? QModelIndex() : rows_->index(row, 0),
                                          QItemSelectionModel::NoUpdate);
        setAutoScroll(true);
    }

    /// What a person does: a row, with Shift from the anchor to it, with Control apart from the others.
    void goTo(int row, Qt::KeyboardModifiers modifiers, bool toggles) {
        setFocusedRow(row);
        if (modifiers.testFlag(Qt::ShiftModifier)) {
            selectRange(std::max(anchor_, 0), row);
        } else {
            anchor_ = row;
            if (!modifiers.testFlag(Qt::ControlModifier))
                selectOnly(row);
            else if (toggles)
                select(row, !isSelected(row));
        }
        viewport()->update();
    }

protected:
    void mousePressEvent(QMouseEvent *event) override {
        const int row = rowUnder(*event);
        if (row >= 0)
            goTo(row, event->modifiers(), true);
        else if ((event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier)) == 0)
            selectOnly(-1);
    }
    void mouseMoveEvent(QMouseEvent *) override {}
    void mouseReleaseEvent(QMouseEvent *) override {}
    void mouseDoubleClickEvent(QMouseEvent *event) override {
        mousePressEvent(event);
        NMITEMACTIVATE activation = {};
        activation.iItem = rowUnder(*event);
        activation.ptAction = {qRound(event->position().x()), qRound(event->position().y())};
        sendNotify(window_, activation.hdr, NM_DBLCLK);
    }
    void keyPressEvent(QKeyEvent *event) override {
        const int last = count() - 1;
        const int row = std::max(focusedRow(), 0);
        const int page = std::max(1, viewport()->height() / verticalHeader()->defaultSectionSize() - 1);
        QScrollBar &across = *horizontalScrollBar();
        switch (event->key()) {
        case Qt::Key_Up:
            return moveTo(focusedRow() < 0 ? 0 : row - 1, *event);
        case Qt::Key_Down:
            return moveTo(focusedRow() < 0 ? 0 : row + 1, *event);
        case Qt::Key_PageUp:
            return moveTo(row - page, *event);
        case Qt::Key_PageDown:
            return moveTo(row + page, *event);
        case Qt::Key_Home:
            return moveTo(0, *event);
        case Qt::Key_End:
            return moveTo(last, *event);
        case Qt::Key_Left:
            return across.setValue(across.value() - across.singleStep());
        case Qt::Key_Right:
            return across.setValue(across.value() + across.singleStep());
        case Qt::Key_Space:
            if (last >= 0)
                goTo(row, event->modifiers(), true);
            return;
        default:
            return;
        }
    }

private:
    int rowUnder(const QMouseEvent &event) const {
        const QModelIndex index = indexAt(event.position().toPoint());
        return index.isValid() ? index.row() : -1;
    }
    void moveTo(int row, const QKeyEvent &event) {
        if (count() == 0)
            return;
        const int to = std::clamp(row, 0, count() - 1);
        goTo(to, event.modifiers(), false);
        scrollTo(rows_->index(to, 0));
    }
    void tell(int row, bool selected) {
        NMLISTVIEW change = {};
        change.iItem = row;
        change.uChanged = LVIF_STATE;
        change.uNewState = selected ? LVIS_SELECTED : 0;
        change.uOldState = selected ? 0 : LVIS_SELECTED;
        sendNotify(window_, change.hdr, LVN_ITEMCHANGED);
    }
    void select(int row, bool selected) {
        if (setSelected(row, selected))
            tell(row, selected);
    }
    /// -1: nothing is selected any more.
    void selectOnly(int row) {
        if (selectedCount_ == 1 && isSelected(row))
            return;
        if (setAllSelected(false))
            tell(-1, false);
        if (row >= 0)
            select(row, true);
        viewport()->update();
    }
    void selectRange(int one, int other) {
        const auto [from, to] = std::minmax(one, other);
        if (setAllSelected(false))
            tell(-1, false);
        for (int row = from; row <= to; ++row)
            setSelected(row, true);
        NMLVODSTATECHANGE change = {};
        change.iFrom = from;
        change.iTo = to;
        change.uNewState = LVIS_SELECTED;
        sendNotify(window_, change.hdr, LVN_ODSTATECHANGED);
    }

    HWND window_;
    Rows *rows_;
    std::vector<bool> selected_;
    int selectedCount_ = 0;
    int anchor_ = -1;
};

/// Shows which rows are selected, and texts in their own direction.
class RowDelegate final : public QStyledItemDelegate {
public:
    explicit RowDelegate(ListView &list) : QStyledItemDelegate(&list), list_(list) {}

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override {
        QStyleOptionViewItem cell = option;
        initStyleOption(&cell, index);
        // Shortened here, since the style lays out several times over what it is given, and paths are long.
        QStyle &style = *list_.style();
        const int margin = 2 * (style.pixelMetric(QStyle::PM_FocusFrameHMargin, &cell, &list_) + 1);
        cell.text = cell.fontMetrics.elidedText(cell.text, cell.textElideMode, cell.rect.width() - margin);
        style.drawControl(QStyle::CE_ItemViewItem, &cell, painter, &list_);
    }

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->state.setFlag(QStyle::State_Selected, list_.isSelected(index.row()));
        // What begins with the mark reads from left to right as a whole, also where the list begins at the right.
        constexpr QChar leftToRightMark(0x200E);
        if (list_.isRightToLeft() && option->text.startsWith(leftToRightMark)) {
            option->direction = Qt::LeftToRight;
            option->displayAlignment = Qt::AlignRight | Qt::AlignVCenter;
        }
    }

private:
    ListView &list_;
};

bool isColumn(ListView &list, int column) {
    return column >= 0 && column < list.rows().columnCount();
}

LRESULT insertColumn(ListView &list, int column, const LVCOLUMNW &value) {
    const int at = std::clamp(column, 0, list.rows().columnCount());
    const bool hasTitle = (value.mask & LVCF_TEXT) != 0 && value.pszText != nullptr;
    list.rows().insertTitle(at, hasTitle ? textOf(value.pszText) : QString());
    if ((value.mask & LVCF_WIDTH) != 0)
        list.setColumnWidth(at, value.cx);
    return at;
}

LRESULT setColumn(ListView &list, int column, const LVCOLUMNW &value) {
    if (!isColumn(list, column))
        return FALSE;
    if ((value.mask & LVCF_TEXT) != 0 && value.pszText != nullptr)
        list.rows().setTitle(column, textOf(value.pszText));
    if ((value.mask & LVCF_WIDTH) != 0)
        list.setColumnWidth(column, value.cx);
    return TRUE;
}

LRESULT setCount(ListView &list, int count, bool keepPicture) {
    if (count < 0)
        return FALSE;
    list.setCount(count);
    if (!keepPicture)
        list.viewport()->update();
    return TRUE;
}

/// Row -1 stands for all of them; in that case the focus can only be taken away.
LRESULT setState(HWND window, ListView &list, int row, const LVITEMW &item) {
    if (row < -1 || row >= list.count())
        return FALSE;
    NMLISTVIEW change = {};
    change.iItem = row;
    change.uChanged = LVIF_STATE;
    const UINT focused = row < 0 ? list.focusedRow() >= 0 : row == list.focusedRow();
    if ((item.stateMask & LVIS_FOCUSED) != 0 && ((item.state & LVIS_FOCUSED) != 0) != (focused != 0)) {
        const bool takes = (item.state & LVIS_FOCUSED) != 0;
        if (!takes || row >= 0) {
            list.setFocusedRow(takes ? row : -1);
            (takes ? change.uNewState : change.uOldState) |= LVIS_FOCUSED;
        }
    }
    if ((item.stateMask & LVIS_SELECTED) != 0) {
        const bool selected = (item.state & LVIS_SELECTED) != 0;
        if (row < 0 ? list.setAllSelected(selected) : list.setSelected(row, selected))
            (selected ? change.uNewState : change.uOldState) |= LVIS_SELECTED;
    }
    if (change.uNewState != 0 || change.uOldState != 0) {
        list.viewport()->update();
        sendNotify(window, change.hdr, LVN_ITEMCHANGED);
    }
    return TRUE;
}

LRESULT setColor(ListView &list, std::initializer_list<QPalette::ColorRole> roles, COLORREF color) {
    QPalette palette = list.palette();
    for (const QPalette::ColorRole role : roles)
        palette.setColor(role, colorOf(color));
    list.setPalette(palette);
    return TRUE;
}

std::optional<LRESULT> answer(HWND window, ListView &list, UINT message, WPARAM wParam, LPARAM lParam) {
    const int row = static_cast<int>(wParam);
    switch (message) {
    case LVM_SETBKCOLOR:
        return setColor(list, {QPalette::Base, QPalette::Window}, static_cast<COLORREF>(lParam));
    case LVM_SETTEXTCOLOR:
        return setColor(list, {QPalette::Text}, static_cast<COLORREF>(lParam));
    case LVM_SETTEXTBKCOLOR:
        return TRUE; // the texts lie on the list's own background
    case LVM_SETITEMCOUNT:
        return setCount(list, row, (lParam & LVSICF_NOINVALIDATEALL) != 0);
    case LVM_GETNEXTITEM:
        return (lParam & LVNI_SELECTED) != 0 ? list.nextSelected(row) : -1;
    case LVM_GETSELECTEDCOUNT:
        return list.selectedCount();
    case LVM_SETITEMSTATE:
        return setState(window, list, row, *reinterpret_cast<const LVITEMW *>(lParam));
    case LVM_INSERTCOLUMNW:
        return insertColumn(list, row, *reinterpret_cast<const LVCOLUMNW *>(lParam));
    case LVM_SETCOLUMNW:
        return setColumn(list, row, *reinterpret_cast<const LVCOLUMNW *>(lParam));
    case LVM_GETCOLUMNWIDTH:
        return list.columnWidth(row);
    case LVM_SETCOLUMNWIDTH:
        list.setColumnWidth(row, static_cast<int>(lParam));
        return TRUE;
    case LVM_GETHEADER:
        return reinterpret_cast<LRESULT>(windowOfWidget(list.horizontalHeader()));
    case LVM_SETEXTENDEDLISTVIEWSTYLE:
        return LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER; // it has no others
    case WM_GETDLGCODE:
        return DLGC_WANTCHARS | DLGC_WANTARROWS;
    default:
        return std::nullopt;
    }
}

void tellColumnClick(HWND window, int column) {
    NMLISTVIEW click = {};
    click.iItem = -1;
    click.iSubItem = column;
    sendNotify(window, click.hdr, LVN_COLUMNCLICK);
}

void setUp(ListView &list) {
    list.setFrameShape(QFrame::NoFrame);
    list.setShowGrid(false);
    list.setWordWrap(false);
    list.setSelectionMode(QAbstractItemView::NoSelection);
    list.setEditTriggers(QAbstractItemView::NoEditTriggers);
    list.setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    list.setItemDelegate(new RowDelegate(list));
    list.setFocusPolicy(Qt::ClickFocus);
    list.setCornerButtonEnabled(false);
    list.verticalHeader()->hide();
    list.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    list.verticalHeader()->setMinimumSectionSize(1);
    list.fitRows();
}

} // namespace

bool makeListView(HWND window, const CREATESTRUCTW &creation) {
    constexpr DWORD needed = LVS_REPORT | LVS_OWNERDATA;
    if ((static_cast<DWORD>(creation.style) & needed) != needed) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    auto *list = new ListView(window);
    setUp(*list);
    Pane &pane = addPane(window, list, creation);
    pane.client = list->viewport();
    addPart(window, list, Role::Keys | Role::Place);
    addPart(window, list->viewport(), static_cast<Roles>(Role::Client),
            [list](QEvent &event) { return list->viewportEvent(&event); });
    addScrollBars(window, *list);
    if (CreateWindowExW(0, W("SysHeader32"), nullptr, WS_CHILD, 0, 0, 0, 0, window, nullptr, nullptr, nullptr) ==
        nullptr)
        return false;
    // The second click of a quick two is told by itself.
    for (const auto clicked : {&QHeaderView::sectionClicked, &QHeaderView::sectionDoubleClicked})
        QObject::connect(list->horizontalHeader(), clicked, list,
                         [window](int column) { tellColumnClick(window, column); });
    return true;
}

LRESULT CALLBACK listViewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto &list = widgetOf<ListView>(window);
    if (const auto result = answer(window, list, message, wParam, lParam))
        return *result;
    if (message == WM_MOUSEWHEEL) {
        passOn(window, message);
        return 0;
    }
    const LRESULT result = DefWindowProcW(window, message, wParam, lParam);
    if (message == WM_SETFONT)
        list.fitRows();
    return result;
}

} // namespace dm::platform
