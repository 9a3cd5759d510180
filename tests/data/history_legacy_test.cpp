#include "data/history_legacy.h"

#include "data/encoding.h"

#include "files.h"

#include <limits>

using namespace dm;

namespace {

HistoryEvent made(HistoryKind kind, std::uint64_t files, std::uint64_t bytes, std::uint64_t skipped = 0,
                  std::uint64_t errors = 0) {
    HistoryEvent event;
    event.kind = kind;
    event.files = files;
    event.bytes = bytes;
    event.skipped = skipped;
    event.errors = errors;
    return event;
}

HistoryEvent changed(HistoryEvent event, void (*change)(HistoryEvent &)) {
    change(event);
    return event;
}

HistoryEvent message(WStringView text, WStringView detail = {}) {
    HistoryEvent event;
    event.text = text;
    event.detail = detail;
    return event;
}

void cancel(HistoryEvent &event) {
    event.cancelled = true;
}

struct Sentence {
    HistoryEvent event;
    std::vector<WString> spellings;
};

const std::vector<Sentence> &sentences() {
    constexpr HistoryKind scan = HistoryKind::Scan;
    constexpr HistoryKind cleanup = HistoryKind::Cleanup;
    constexpr HistoryKind search = HistoryKind::LargeSearch;
    constexpr HistoryKind recycle = HistoryKind::Recycle;
    static const std::vector<Sentence> all = {
        {made(scan, 12, 3460301, 3, 4),
         {W("Scan: 12 files, 3.3 MB. Scan complete · files in use or inaccessible: 3 · errors: 4"),
          W("Scan: 12 files, 3.3 MB. Scan complete · Skipped: 3 · Errors: 4."),
          W("Scan:12files,3,3MB.Scan complete.Skipped:3.Errors:4"),
          W("Scan: \t 12 files, \t3.3\tMB.\t Scan complete \t· \tSkipped: 3 . errors: 4 . \t"),
          W("Анализ: 12 файлов, 3,3 МБ. Анализ завершён · занятых или недоступных файлов: 3 · ошибок: 4"),
          W("Анализ: 12 файлов, 3.3 МБ. Анализ завершён. Пропущено: 3. Ошибок: 4."),
          W("Анализ: 012 files, 3,30 МБ. Scan complete · Пропущено: 3 · errors: 4")}},
        {changed(made(scan, 1, 512), [](HistoryEvent &event) { event.cancelled = true, event.countersKnown = false; }),
         {W("Scan: 1 files, 512 B. Scan canceled. Showing the space found before cancellation."),
          W("Анализ: 1 файлов, 512 Б. Анализ отменён. Показано место, найденное до отмены.  ")}},
        {made(cleanup, 17, 1536, 0, 2),
         {W("Cleanup complete.\nDeleted: 17 files; 1.5 KB.\nSkipped: 0. Errors: 2.\n\nScan again to update the list."),
          W("Cleanup complete. \r\nDeleted: 17 files; 1,5 KB. \r\nSkipped: 0 · errors: 2\r\n\r\n"
            "Scan again to update the list. "),
          W("Очистка завершена.\nУдалено: 17 файлов; 1,5 КБ.\nПропущено: 0. Ошибок: 2.\n\n"
            "Повторите анализ для обновления списка.")}},
        {changed(made(cleanup, 0, 0), [](HistoryEvent &event) { event.cancelled = true, event.recycleEmptied = true; }),
         {W("Cleanup canceled.\nDeleted: 0 files; 0 B.\nSkipped: 0. Errors: 0.\nRecycle Bin emptied.\n\n"
            "Scan again to update the list."),
          W("Очистка отменена.\r\nУдалено: 0 файлов; 0 Б.\r\nПропущено: 0. Ошибок: 0.\r\nКорзина очищена.\r\n\r\n"
            "Повторите анализ для обновления списка.")}},
        {made(search, 7, 0, 1, 2),
         {W("Search complete · Files found: 7 · Skipped: 1 · Errors: 2"),
          W("Поиск завершён. Найдено файлов: 7. Пропущено: 1. Ошибок: 2.")}},
        {changed(made(search, 200, 0), [](HistoryEvent &event) { event.cancelled = true, event.truncated = true; }),
         {W("Search canceled · Files found: 200 · Skipped: 0 · Errors: 0\n"
            "The list is limited. Increase the minimum size and search again."),
          W("Поиск отменён · Найдено файлов: 200 · Пропущено: 0 · Ошибок: 0\r\n"
            "Список ограничен. Увеличьте минимальный размер и повторите поиск.")}},
        {made(recycle, 3, 1073741824, 1, 2),
         {W("Moved to Recycle Bin: 3 · 1.00 GB\nSkipped: 1 · Errors: 2\n"
            "Files with errors are excluded from the result. Check the system Recycle Bin."),
          W("В корзину перемещено: 3. 1 ГБ\nПропущено: 1 · Ошибок: 2\n"
            "Файлы с ошибками не включены в результат. Проверьте системную корзину.")}},
        {changed(made(recycle, 0, 0, 5), cancel),
         {W("Move canceled.\nMoved to Recycle Bin: 0 · 0 B\nSkipped: 5 · Errors: 0\n"
            "Unavailable or changed files were kept."),
          W("Перемещение отменено.\r\nВ корзину перемещено: 0 · 0 Б\r\nПропущено: 5 · Ошибок: 0\r\n"
            "Недоступные и изменённые файлы оставлены на месте.")}},
        {message(W("Самопроверка пройдена.")),
         {W("Self-test passed"), W("Self-test passed."), W("Самопроверка пройдена \t"), W("Самопроверка пройдена.")}},
        {message(W("Самопроверка не пройдена."), W(" junction: 5")),
         {W("Self-test failed: junction: 5"), W("Самопроверка не пройдена: junction: 5 ")}},
        {message(W("Самопроверка не пройдена.")), {W("Self-test failed.")}},
        {message(W("Не удалось завершить анализ.")),
         {W("The scan could not finish."), W("Не удалось завершить анализ. ")}},
        {message(W("Не удалось завершить анализ."), W(" [E-5_x]")),
         {W("The scan could not finish. [E-5_x]"), W("Не удалось завершить анализ. [E-5_x]\t")}},
        {message(W("Очистка завершена."), WString(W(" [")) + WString(65, W('x')) + W("]")),
         {WString(W("Cleanup complete. [")) + WString(65, W('x')) + W("]")}},
    };
    return all;
}

bool isRecognized(const WString &text) {
    HistoryEvent event;
    return parseLegacyEvent(text, event);
}

WString searched(WStringView count) {
    return WString(W("Search complete · Files found: ")) + WString(count) + W(" · Skipped: 0 · Errors: 0");
}

/// The bytes that a size is read as; nothing is told apart from zero by the caller.
bool readsSize(WStringView size, std::uint64_t &bytes) {
    HistoryEvent event;
    const WString text = WString(W("Moved to Recycle Bin: 1 · ")) + WString(size) +
                         W("\nSkipped: 0 · Errors: 0\nUnavailable or changed files were kept.");
    const bool recognized = parseLegacyEvent(text, event);
    bytes = event.bytes;
    return recognized;
}

} // namespace

TEST(HistoryLegacy, SentencesAreRecognizedInBothLanguages) {
    for (const Sentence &sentence : sentences())
        for (const WString &spelling : sentence.spellings) {
            HistoryEvent event = message(W("before"));
            EXPECT_TRUE(parseLegacyEvent(spelling, event)) << wideToUtf8(spelling);
            EXPECT_TRUE(event == sentence.event) << wideToUtf8(spelling);
        }
}

// Whatever stands before, behind or instead of a piece: only the whole sentence is one.
TEST(HistoryLegacy, AnythingElseIsDeclined) {
    for (const Sentence &sentence : sentences())
        for (const WString &spelling : sentence.spellings)
            for (const WString &damaged : {spelling + W("x"), spelling + W("\n"), W(" ") + spelling, W("x") + spelling,
                                           spelling + W("\n") + spelling, spelling + WString(1, 0)})
                // A reason goes as far as the text does.
                EXPECT_EQ(isRecognized(damaged),
                          sentence.event.detail == W(" junction: 5") && damaged.starts_with(spelling.substr(0, 5)))
                    << wideToUtf8(damaged);

    const char *const cleanup = "Cleanup complete.\nDeleted: 17 files; 1.5 KB.";
    std::vector<std::string> declined = test::linesOf(R"(

scan: 12 files, 3.3 MB. Scan complete · Skipped: 3 · Errors: 4
Scan: 12 files, 3.3 MB. Scan complete, Skipped: 3 · Errors: 4
Scan: 12 Dateien, 3.3 MB. Scan complete · Skipped: 3 · Errors: 4
Scan: 12 files, 3.3 MB. Scan complete · Skipped: 3 · ERRORS: 4
Search complete · Files found: 7 · files in use or inaccessible: 1 · Errors: 2
Self-test failed
Self-test passed: x
Start scan
The scan could not finish. []
The scan could not finish. [a b]
The scan could not finish.[a]
The scan could not finish. [a] [b]
The scan could not finish. [a
)");
    for (const std::string &text :
         {std::string(" "), std::string("Self-test failed: "), std::string("Self-test \rpassed"),
          std::string("The scan could not finish.\n"), std::string("\nRecycle Bin emptied."),
          std::string("Scan: 12 files, 3.3 MB.\nScan complete · Skipped: 3 · Errors: 4"),
          cleanup + std::string("\nSkipped: 0. Errors: 2.\nScan again to update the list."),
          cleanup + std::string("\nSkipped: 0. Errors: 2.\n \nScan again to update the list."),
          cleanup + std::string("\rSkipped: 0. Errors: 2.\n\nScan again to update the list."),
          "Cleanup complete. [" + std::string(66, 'x') + ']'})
        declined.push_back(text);
    for (const std::string &text : declined)
        EXPECT_FALSE(isRecognized(utf8ToWide(text))) << text;

    // With a carriage return too, which counts.
    const WString reason = W("Self-test failed: \r\n");
    EXPECT_TRUE(isRecognized(reason + WString(16384 - reason.size(), W('x'))));
    EXPECT_FALSE(isRecognized(reason + WString(16385 - reason.size(), W('x'))));
}

TEST(HistoryLegacy, NumbersFitOrAreDeclined) {
    for (const WChar *count : {W("0"), W("18446744073709551615"), W("00000000000000000001"), W(" \t7\t ")})
        EXPECT_TRUE(isRecognized(searched(count))) << wideToUtf8(count);
    for (const WChar *count :
         {W(""), W("-1"), W("+1"), W("1.0"), W("18446744073709551616"), W("000000000000000000001"), W("1 2"), W("٣")})
        EXPECT_FALSE(isRecognized(searched(count))) << wideToUtf8(count);

    const std::pair<WString, std::uint64_t> sizes[] = {
        {W("0 B"), 0},
        {W("1,5 КБ"), 1536},
        {W("0.5 Б"), 1},
        {W("0.000488281 KB"), 0},
        {W("0.000488282 KB"), 1},
        {W("0.999999999 GB"), 1073741823},
        {W("9007199254740993 B"), 9007199254740993},
        {W("18446744073709551615 B"), std::numeric_limits<std::uint64_t>::max()},
        {W("17179869183.999999999 GB"), 18446744073709551615ULL},
    };
    for (const auto &[size, expected] : sizes) {
        std::uint64_t bytes = 0;
        EXPECT_TRUE(readsSize(size, bytes)) << wideToUtf8(size);
        EXPECT_EQ(bytes, expected) << wideToUtf8(size);
    }
    for (const WChar *size : {W("1"), W("1 TB"), W("1. KB"), W(".5 KB"), W("1.1234567890 KB"), W("1..5 KB"),
                              W("1.5,5 KB"), W("18446744073709551615.5 B"), W("18446744073709551616 B"),
                              W("18014398509481984 KB"), W("17179869184.00 GB"), W("-1 KB"), W("1 kb"), W("1 K B")}) {
        std::uint64_t bytes = 0;
        EXPECT_FALSE(readsSize(size, bytes)) << wideToUtf8(size);
    }
}

TEST(HistoryLegacy, TimeStampsAreRealTimes) {
    const std::pair<const char *, std::size_t> stamps[] = {
        {"2024-02-29 23:59:59 ", 20},
        {"2000-02-29 00:00:00\t \tx", 22},
        {"0001-01-01 00:00:00 \n", 20},
        {"9999-12-31 00:00:00  2024", 21},
    };
    for (const auto &[text, end] : stamps) {
        std::size_t position = 0;
        EXPECT_TRUE(parseLegacyTimestamp(utf8ToWide(text), position)) << text;
        EXPECT_EQ(position, end) << text;
    }
    std::vector<std::string> refused = {"", "2024-02-29 23:59:59", "2024-02-29 23:59:59x", "2024-02-29 23:59:59\n"};
    for (const std::string &text : test::linesOf(R"(
2023-02-29 23:59:59
1900-02-29 23:59:59
2024-04-31 23:59:59
2024-13-01 23:59:59
2024-01-00 23:59:59
0000-01-01 23:59:59
2024-01-01 24:00:00
2024-01-01 23:59:60
2024-01-01T23:59:59
 2024-01-01 23:59:59
٢٠٢٤-01-01 23:59:59
2024-1-01 23:59:590
)"))
        refused.push_back(text + ' ');
    for (const std::string &text : refused) {
        std::size_t position = 42;
        EXPECT_FALSE(parseLegacyTimestamp(utf8ToWide(text), position)) << text;
        EXPECT_EQ(position, 42u);
    }
}
