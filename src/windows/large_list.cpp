#include "windows/large_list.h"

#include "i18n/format.h"
#include "i18n/language.h"
#include "platform/win32.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <span>
#include <utility>

namespace dm {
namespace {

constexpr std::uint64_t greatestMinimumSize = 1'048'576;

/// An entry with its path at hand, and the part of it that tells it from the others of its run, packed so that numbers
/// compare as the units do.
struct Row {
    std::uint64_t key = 0;
    WStringView path;
    std::uint64_t entry = 0;
};

constexpr std::size_t unitsInKey = sizeof(Row::key) / sizeof(WChar);

bool hasSmallerKey(const Row &one, const Row &other) {
    return one.key < other.key;
}

enum class Case { Folded, Exact };

/// Rows whose paths are alike for so many units.
struct Run {
    std::span<Row> rows;
    std::size_t depth = 0;
    Case compares = Case::Folded;
};

WChar folded(WChar unit, Case compares) {
    return compares == Case::Folded ? static_cast<WChar>(towlower(unit)) : unit;
}

/// The units from the depth on; what lies behind the end is 0, which no path holds.
std::uint64_t keyAt(WStringView path, std::size_t depth, Case compares) {
    std::uint64_t key = 0;
    for (std::size_t at = depth; at < depth + unitsInKey; ++at)
        key = key << 16 | (at < path.size() ? folded(path[at], compares) : 0);
    return key;
}

/// Whether the same number of units as in a key is the same in both, case included.
bool isSameKey(WStringView one, WStringView other, std::size_t at) {
    return std::memcmp(one.data() + at, other.data() + at, sizeof(Row::key)) == 0;
}

/// Up to where two paths have the same units, from the depth on and no further than the end.
std::size_t commonEnd(WStringView one, WStringView other, std::size_t depth, std::size_t end, Case compares) {
    end = std::min({end, one.size(), other.size()});
    std::size_t at = depth;
    while (at < end) {
        if (at + unitsInKey <= end && isSameKey(one, other, at))
            at += unitsInKey;
        else if (one[at] == other[at] || folded(one[at], compares) == folded(other[at], compares))
            ++at;
        else
            break;
    }
    return at;
}

/// Sorts rows by their paths. Units that a whole run has alike are looked at once, and then four at a time: paths of
/// one tree are long and differ late. The runs still to be sorted are a list, since a call for each would go as deep as
/// a path is long.
class PathSorter {
public:
    void sort(std::span<Row> rows, Case compares) {
        runs_.push_back({rows, 0, compares});
        while (!runs_.empty()) {
            Run run = runs_.back();
            runs_.pop_back();
            skipCommonUnits(run);
            for (Row &row : run.rows)
                row.key = keyAt(row.path, run.depth, run.compares);
            std::sort(run.rows.begin(), run.rows.end(), hasSmallerKey);
            addRunsOfEqualKeys(run);
        }
    }

private:
    static void skipCommonUnits(Run &run) {
        const WStringView first = run.rows.front().path;
        std::size_t end = first.size();
        for (const Row &row : run.rows)
            end = commonEnd(first, row.path, run.depth, end, run.compares);
        run.depth = end;
    }

    void addRunsOfEqualKeys(const Run &run) {
        for (std::size_t begin = 0, end = 0; begin < run.rows.size(); begin = end) {
            const std::uint64_t key = run.rows[begin].key;
            while (end < run.rows.size() && run.rows[end].key == key)
                ++end;
            const std::span<Row> equal = run.rows.subspan(begin, end - begin);
            if (equal.size() < 2)
                continue;
            const bool ended = (key & 0xFFFF) == 0;
            if (!ended)
                runs_.push_back({equal, run.depth + unitsInKey, run.compares});
            else if (run.compares == Case::Folded) // alike but for their case
                runs_.push_back({equal, 0, Case::Exact});
        }
    }

    std::vector<Run> runs_;
};

void sortBySize(const std::vector<large::LargeFileEntry> &entries, std::vector<Row> &rows) {
    for (Row &row : rows)
        row.key = entries[row.entry].size;
    std::sort(rows.begin(), rows.end(), hasSmallerKey);
    PathSorter paths;
    for (auto begin = rows.begin(); begin != rows.end();) {
        const auto end = std::find_if(begin, rows.end(), [key = begin->key](const Row &row) { return row.key != key; });
        if (end - begin > 1)
            paths.sort({begin, end}, Case::Exact);
        begin = end;
    }
}

/// "label n", with " · " before it.
WString counted(const WChar *label, std::uint64_t count) {
    return W(" · ") + tr(label) + W(" ") + formatCount(count);
}

WString progressText(const OperationState &state) {
    WString text =
        tr(state.operation == OperationKind::Recycle ? W("Перемещение в корзину…") : W("Поиск файлов…")) + W(" · ");
    text += formatCount(state.processed);
    if (state.total != 0)
        text += W(" / ") + formatCount(state.total);
    return text;
}

WString resultText(const large::LargeSearchResult &search, std::size_t rows) {
    if (!search.errorText.empty())
        return tr(search.errorText);
    WString text = tr(search.cancelled ? W("Поиск отменён") : W("Поиск завершён")) +
                   counted(W("Найдено файлов:"), rows) + counted(W("Пропущено:"), search.skipped) +
                   counted(W("Ошибок:"), search.errors);
    if (search.limited)
        text += W("\n") + tr(W("Список ограничен. Увеличьте минимальный размер и повторите поиск."));
    return text;
}

} // namespace

LargeOrder orderAfterClick(LargeOrder order, LargeColumn clicked) {
    if (clicked == order.column)
        return {order.column, !order.ascending};
    return {clicked, clicked == LargeColumn::Path};
}

void sortLargeRows(const std::vector<large::LargeFileEntry> &entries, LargeOrder order,
                   std::vector<std::uint64_t> &displayOrder) {
    std::vector<Row> rows;
    rows.reserve(displayOrder.size());
    for (const std::uint64_t entry : displayOrder)
        rows.push_back({0, entries[entry].path, entry});
    if (rows.empty())
        return;
    if (order.column == LargeColumn::Size)
        sortBySize(entries, rows);
    else
        PathSorter().sort(rows, Case::Folded);
    // No two rows are equal, so the other direction is the same order backwards.
    if (!order.ascending)
        std::reverse(rows.begin(), rows.end());
    std::transform(rows.begin(), rows.end(), displayOrder.begin(), [](const Row &row) { return row.entry; });
}

LargeRows rowsOf(const large::LargeSearchResult &search) {
    LargeRows rows;
    rows.removedEntries.assign(search.entries.size(), false);
    rows.displayOrder.resize(search.entries.size());
    std::iota(rows.displayOrder.begin(), rows.displayOrder.end(), 0);
    return rows;
}

void dropMovedRows(LargeRows &rows, const std::vector<large::RecycleOutcome> &outcomes) {
    for (const large::RecycleOutcome &outcome : outcomes) {
        if (outcome.status == large::RecycleStatus::Moved && outcome.entryIndex < rows.removedEntries.size())
            rows.removedEntries[outcome.entryIndex] = true;
    }
    std::erase_if(rows.displayOrder, [&rows](std::uint64_t entry) { return rows.removedEntries[entry]; });
}

std::optional<std::uint64_t> parseMinimumSize(WStringView text) {
    std::uint64_t size = 0;
    for (const WChar unit : text) {
        if (unit < W('0') || unit > W('9'))
            return std::nullopt;
        size = size * 10 + static_cast<std::uint64_t>(unit - W('0'));
        if (size > greatestMinimumSize)
            return std::nullopt;
    }
    return size >= 1 ? std::optional(size) : std::nullopt;
}

std::uint64_t sizeOfEntries(const large::LargeSearchResult &search, const std::vector<std::uint64_t> &chosen) {
    std::uint64_t sum = 0;
    for (const std::uint64_t entry : chosen) {
        const std::uint64_t size = search.entries[entry].size;
        sum = size > std::numeric_limits<std::uint64_t>::max() - sum ? std::numeric_limits<std::uint64_t>::max()
                                                                     : sum + size;
    }
    return sum;
}

WString largeStatusText(const OperationState &state, bool running, const large::LargeSearchResult *search,
                        std::size_t rows, std::size_t selected) {
    const WString text = running             ? progressText(state)
                         : search == nullptr ? tr(W("Поиск ещё не выполнялся"))
                                             : resultText(*search, rows);
    return text + counted(W("Выбрано файлов:"), selected);
}

} // namespace dm
