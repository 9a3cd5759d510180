#include "windows/preview_rows.h"

#include "i18n/language.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

PreviewRows someRows() {
    PreviewRows rows;
    rows.entries.resize(2);
    rows.entries[0].path = W("C:\\tmp\\a");
    rows.entries[0].size = 1536;
    rows.entries[1].path = W("C:\\b");
    rows.entries[1].category = CleanCategory::Browser;
    rows.recycleItems = 3;
    rows.recycleBytes = 2048;
    return rows;
}

TEST(PreviewRows, GivesEachCell) {
    setLanguage("en");
    const PreviewRows rows = someRows();
    const std::vector<std::vector<WString>> expected = {
        {W("Temporary files"), W("1.5 KB"), W("\u200E/tmp/a")},
        {W("Browser cache"), W("0 B"), W("\u200E/b")},
        {W("Recycle Bin"), W("2.0 KB"),
         W("Current user’s Recycle Bin: 3 files. View contents in the Windows Recycle Bin.")},
    };
    ASSERT_EQ(previewRowCount(rows), 3);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            EXPECT_EQ(previewCell(rows, row, static_cast<PreviewColumn>(column)), expected[row][column]);
    for (const int row : {-1, 3, INT32_MAX})
        EXPECT_EQ(previewCell(rows, row, PreviewColumn::Path), W(""));
}

TEST(PreviewRows, HasARowForARecycleBinWithItems) {
    PreviewRows rows = someRows();
    rows.recycleItems = 0;
    EXPECT_EQ(previewRowCount(rows), 2);
    EXPECT_EQ(previewCell(rows, 2, PreviewColumn::Category), W(""));
    rows.entries.clear();
    EXPECT_EQ(previewRowCount(rows), 0);
    rows.recycleItems = 1;
    EXPECT_EQ(previewRowCount(rows), 1);
}

} // namespace
} // namespace dm
