// The rows of a preview window, without any window.
#pragma once

#include "core/records.h"
#include "platform/text.h"

#include <cstdint>
#include <vector>

namespace dm {

/// What a scan offers for deletion, as it was when the window was opened.
struct PreviewRows {
    std::vector<FileEntry> entries;
    std::uint64_t recycleItems = 0;
    std::uint64_t recycleBytes = 0;
};

/// A row for each entry and one for the Recycle Bin as a whole, if there is anything in it; no more than a list can
/// number.
int previewRowCount(const PreviewRows &rows);

enum class PreviewColumn : int { Category = 0, Size = 1, Path = 2 };

/// The text of a cell; empty for a row that is none.
WString previewCell(const PreviewRows &rows, int row, PreviewColumn column);

} // namespace dm
