// The rows of the large-files window and the texts about them, without any window.
#pragma once

#include "core/operations.h"
#include "large/recycle.h"
#include "large/search.h"
#include "platform/text.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace dm {

enum class LargeColumn : int { Path = 0, Size = 1 };

/// How the rows are sorted. The first display is largest first.
struct LargeOrder {
    LargeColumn column = LargeColumn::Size;
    bool ascending = false;
};

/// What a click on a column's title makes of the order: the other direction on the sorted column, else the useful
/// first look at the other, which is ascending paths and descending sizes.
LargeOrder orderAfterClick(LargeOrder order, LargeColumn clicked);

/// Sorts row numbers' entries: by size or by path without case, then by the path as it is, all in one direction.
/// Indexes lie within the entries, whose paths hold no null.
void sortLargeRows(const std::vector<large::LargeFileEntry> &entries, LargeOrder order,
                   std::vector<std::uint64_t> &displayOrder);

/// What the user sees of a search: the rows in their order, and which entries have been moved away since.
struct LargeRows {
    std::vector<std::uint64_t> displayOrder; ///< row number to index of the entry
    std::vector<bool> removedEntries;        ///< by index of the entry
};

/// A row for each entry, in their order.
LargeRows rowsOf(const large::LargeSearchResult &search);
/// Takes out the rows of the files that were moved; the others keep their order. Indexes that are none are ignored.
void dropMovedRows(LargeRows &rows, const std::vector<large::RecycleOutcome> &outcomes);

/// The minimum size in MB as it was typed: decimal digits and nothing else, from 1 to 1048576.
std::optional<std::uint64_t> parseMinimumSize(WStringView text);

/// The sum of the sizes of entries; the greatest value where it would be greater.
std::uint64_t sizeOfEntries(const large::LargeSearchResult &search, const std::vector<std::uint64_t> &chosen);

/// The status line. `search` is null before the first search has ended; `running` is whether this window's own
/// operation runs.
WString largeStatusText(const OperationState &state, bool running, const large::LargeSearchResult *search,
                        std::size_t rows, std::size_t selected);

} // namespace dm
