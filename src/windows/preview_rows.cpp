#include "windows/preview_rows.h"

#include "i18n/format.h"
#include "i18n/language.h"
#include "windows/path_text.h"

#include <algorithm>
#include <limits>

namespace dm {
namespace {

WString categoryName(CleanCategory category) {
    switch (category) {
    case CleanCategory::Temp:
        return tr(W("Временные файлы"));
    case CleanCategory::Browser:
        return tr(W("Кэш браузеров"));
    }
    return tr(W("Корзина"));
}

WString entryCell(const FileEntry &entry, PreviewColumn column) {
    switch (column) {
    case PreviewColumn::Category:
        return categoryName(entry.category);
    case PreviewColumn::Size:
        return formatSize(entry.size);
    case PreviewColumn::Path:
        break;
    }
    return pathCell(entry.path);
}

WString recycleCell(const PreviewRows &rows, PreviewColumn column) {
    switch (column) {
    case PreviewColumn::Category:
        return tr(W("Корзина"));
    case PreviewColumn::Size:
        return formatSize(rows.recycleBytes);
    case PreviewColumn::Path:
        break;
    }
    return tr(W("Корзина текущего пользователя:")) + W(" ") + formatCount(rows.recycleItems) + W(" ") +
           tr(W("файлов")) + W(". ") + tr(W("Просмотр содержимого — в корзине Windows."));
}

} // namespace

int previewRowCount(const PreviewRows &rows) {
    const std::size_t count = rows.entries.size() + (rows.recycleItems > 0 ? 1 : 0);
    return static_cast<int>(std::min<std::size_t>(count, std::numeric_limits<int>::max()));
}

WString previewCell(const PreviewRows &rows, int row, PreviewColumn column) {
    if (row < 0 || row >= previewRowCount(rows))
        return {};
    const auto index = static_cast<std::size_t>(row);
    return index < rows.entries.size() ? entryCell(rows.entries[index], column) : recycleCell(rows, column);
}

} // namespace dm
