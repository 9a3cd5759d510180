#include "windows/large_list.h"

#include "i18n/language.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace dm {
namespace {

using large::LargeFileEntry;
using large::RecycleStatus;

std::vector<LargeFileEntry> entriesOf(const std::vector<std::pair<WString, std::uint64_t>> &files) {
    std::vector<LargeFileEntry> entries(files.size());
    for (std::size_t at = 0; at < files.size(); ++at) {
        entries[at].path = files[at].first;
        entries[at].size = files[at].second;
    }
    return entries;
}

/// The rule as it is told, one comparison at a time.
bool comesBefore(const LargeFileEntry &a, const LargeFileEntry &b, LargeOrder order) {
    if (order.column == LargeColumn::Size && a.size != b.size)
        return order.ascending ? a.size < b.size : a.size > b.size;
    if (order.column == LargeColumn::Path) {
        const int folded = _wcsicmp(a.path.c_str(), b.path.c_str());
        if (folded != 0)
            return order.ascending ? folded < 0 : folded > 0;
    }
    return order.ascending ? a.path < b.path : a.path > b.path;
}

std::vector<std::uint64_t> sorted(const std::vector<LargeFileEntry> &entries, LargeOrder order) {
    std::vector<std::uint64_t> rows(entries.size());
    std::iota(rows.begin(), rows.end(), 0);
    std::shuffle(rows.begin(), rows.end(), std::minstd_rand(7));
    sortLargeRows(entries, order, rows);
    return rows;
}

/// Few units, so that paths are often alike for long, differ in case alone, or end in one another.
std::vector<LargeFileEntry> similarPaths(std::size_t count) {
    std::minstd_rand random(3);
    const WStringView units = W("aAbBäÄ\\\xD83D\xFFFDz");
    std::vector<std::pair<WString, std::uint64_t>> files;
    for (std::size_t file = 0; file < count; ++file) {
        WString path = random() % 2 == 0 ? W("C:\\home\\") : W("C:\\HOME\\");
        for (std::size_t unit = random() % 12; unit > 0; --unit)
            path += units[random() % units.size()];
        files.emplace_back(path, random() % 3);
    }
    std::sort(files.begin(), files.end());
    const auto samePath = [](const auto &one, const auto &other) { return one.first == other.first; };
    files.erase(std::unique(files.begin(), files.end(), samePath), files.end());
    return entriesOf(files);
}

TEST(LargeList, SortsByTheRule) {
    const std::vector<LargeFileEntry> entries = similarPaths(3000);
    ASSERT_GT(entries.size(), 1000U);
    for (const LargeColumn column : {LargeColumn::Path, LargeColumn::Size}) {
        for (const bool ascending : {true, false}) {
            const LargeOrder order{column, ascending};
            std::vector<std::uint64_t> expected(entries.size());
            std::iota(expected.begin(), expected.end(), 0);
            std::sort(expected.begin(), expected.end(),
                      [&](auto a, auto b) { return comesBefore(entries[a], entries[b], order); });
            EXPECT_EQ(sorted(entries, order), expected) << static_cast<int>(column) << ascending;
        }
    }
}

TEST(LargeList, SortsTheLongestPaths) {
    WString deep(32'000, W('d'));
    const std::vector<LargeFileEntry> entries =
        entriesOf({{deep + W("b"), 1}, {deep, 1}, {deep + W("A"), 1}, {deep + W("a"), 1}, {W(""), 1}});
    EXPECT_EQ(sorted(entries, {LargeColumn::Path, true}), (std::vector<std::uint64_t>{4, 1, 2, 3, 0}));
    EXPECT_EQ(sorted(entries, {LargeColumn::Size, false}), (std::vector<std::uint64_t>{0, 3, 2, 1, 4}));
}

TEST(LargeList, DropsWhatWasMoved) {
    large::LargeSearchResult search;
    search.entries = entriesOf({{W("a"), 1}, {W("b"), 2}, {W("c"), 3}, {W("d"), 4}});
    LargeRows rows = rowsOf(search);
    EXPECT_EQ(rows.displayOrder, (std::vector<std::uint64_t>{0, 1, 2, 3}));
    rows.displayOrder = {3, 1, 0, 2};
    dropMovedRows(rows, {{1, RecycleStatus::Moved, 0},
                         {0, RecycleStatus::InUse, 32},
                         {3, RecycleStatus::Failed, 5},
                         {2, RecycleStatus::Moved, 0},
                         {4, RecycleStatus::Moved, 0}});
    EXPECT_EQ(rows.displayOrder, (std::vector<std::uint64_t>{3, 0}));
    dropMovedRows(rows, {{3, RecycleStatus::Moved, 0}});
    EXPECT_EQ(rows.displayOrder, (std::vector<std::uint64_t>{0}));
    EXPECT_EQ(rows.removedEntries, (std::vector<bool>{false, true, true, true}));
}

TEST(LargeList, ReadsTheMinimumSize) {
    const std::pair<const WChar *, std::uint64_t> taken[] = {
        {W("1"), 1}, {W("100"), 100}, {W("0000100"), 100}, {W("1048576"), 1048576}};
    for (const auto &[text, size] : taken)
        EXPECT_EQ(parseMinimumSize(text), size);
    for (const WChar *text : {W(""), W("0"), W("000"), W("1048577"), W("9999999"), W("18446744073709551617"), W("-1"),
                              W("+1"), W(" 1"), W("1 "), W("1.5"), W("0x1"), W("١")})
        EXPECT_EQ(parseMinimumSize(text), std::nullopt);
}

TEST(LargeList, AddsUpSizes) {
    large::LargeSearchResult search;
    search.entries = entriesOf({{W("a"), UINT64_MAX - 1}, {W("b"), 1}, {W("c"), 1}});
    EXPECT_EQ(sizeOfEntries(search, {}), 0U);
    EXPECT_EQ(sizeOfEntries(search, {1, 2}), 2U);
    EXPECT_EQ(sizeOfEntries(search, {0, 1}), UINT64_MAX);
    EXPECT_EQ(sizeOfEntries(search, {0, 1, 2}), UINT64_MAX);
}

TEST(LargeList, TellsTheStatus) {
    setLanguage("en");
    OperationState state;
    large::LargeSearchResult search;
    search.skipped = 4;
    search.errors = 1;
    EXPECT_EQ(largeStatusText(state, false, nullptr, 0, 0), W("No search yet · Selected files: 0"));
    EXPECT_EQ(largeStatusText(state, false, &search, 7, 2),
              W("Search complete · Files found: 7 · Skipped: 4 · Errors: 1 · Selected files: 2"));
    search.cancelled = search.limited = true;
    EXPECT_EQ(largeStatusText(state, false, &search, 7, 0),
              W("Search canceled · Files found: 7 · Skipped: 4 · Errors: 1\nThe list is limited. Increase the minimum "
                "size and search again. · Selected files: 0"));
    search.errorText = W("Некорректная папка для поиска.");
    EXPECT_EQ(largeStatusText(state, false, &search, 0, 0), W("Invalid search folder. · Selected files: 0"));
    state.operation = OperationKind::LargeSearch;
    state.processed = 640;
    EXPECT_EQ(largeStatusText(state, true, &search, 7, 1), W("Searching for files… · 640 · Selected files: 1"));
    state.operation = OperationKind::Recycle;
    state.processed = 1;
    state.total = 3;
    EXPECT_EQ(largeStatusText(state, true, &search, 7, 3), W("Moving to Recycle Bin… · 1 / 3 · Selected files: 3"));
}

} // namespace
} // namespace dm
