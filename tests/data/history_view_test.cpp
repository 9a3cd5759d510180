#include "data/history_view.h"

#include "data/encoding.h"
#include "i18n/format.h"
#include "i18n/language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

using namespace dm;

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t someTime = 1700000000;
constexpr std::size_t tailBytes = 2097152;

HistoryEvent made(
    HistoryKind kind, bool cancelled, void (*change)(HistoryEvent &) = [](HistoryEvent &) {}) {
    HistoryEvent event;
    event.kind = kind;
    event.files = 12;
    event.bytes = 1536;
    event.skipped = 3;
    event.cancelled = cancelled;
    change(event);
    return event;
}

std::string recordOf(const HistoryEvent &event) {
    return formatHistoryRecord(event, someTime);
}

std::string messageRecord(WStringView text) {
    HistoryEvent event;
    event.text = text;
    return recordOf(event);
}

std::string rendered(std::string_view log, const char *language) {
    setLanguage(language);
    return encodeUtf8Lossy(renderHistoryLog(log));
}

/// The time of the records as a line begins with it.
std::string stampIn(const char *language) {
    setLanguage(language);
    return encodeUtf8Lossy(formatDateTime(someTime)) + "  ";
}

/// The history file of this test process.
class HistoryTail : public testing::Test {
protected:
    void SetUp() override {
        setLanguage("en");
        fs::remove_all(path.parent_path());
        fs::create_directory(path.parent_path());
    }

    std::pair<std::string, bool> load() const {
        WString text;
        bool truncated = true;
        loadHistoryTail(text, truncated);
        return {encodeUtf8Lossy(text), truncated};
    }
    std::pair<std::string, bool> loadOf(const std::string &log) const {
        std::ofstream(path, std::ios::binary) << log;
        return load();
    }

    const fs::path path = fs::path(std::getenv("XDG_DATA_HOME")) / "Dustmere" / "history.log";
};

} // namespace

TEST(HistoryView, EventsReadAsSentences) {
    using Kind = HistoryKind;
    const std::pair<HistoryEvent, std::string> cases[] = {
        {made(Kind::Scan, false), "Scan: 12 files, 1.5 KB. Scan complete · Skipped: 3 · Errors: 0"},
        {made(Kind::Scan, true, [](HistoryEvent &event) { event.detail = W("!"); }),
         "Scan: 12 files, 1.5 KB. Scan canceled. Showing the space found before cancellation. · Skipped: 3 · Errors: "
         "0!"},
        {made(Kind::Scan, false, [](HistoryEvent &event) { event.countersKnown = false; }),
         "Scan: 12 files, 1.5 KB. Scan complete"},
        {made(Kind::Cleanup, false, [](HistoryEvent &event) { event.detail = W(" more"); }),
         "Cleanup complete.\nDeleted: 12 files; 1.5 KB.\nSkipped: 3. Errors: 0.\n\nScan again to update the list. "
         "more"},
        {made(Kind::Cleanup, true, [](HistoryEvent &event) { event.recycleEmptied = true; }),
         "Cleanup canceled.\nDeleted: 12 files; 1.5 KB.\nSkipped: 3. Errors: 0.\nRecycle Bin emptied.\n\n"
         "Scan again to update the list."},
        {made(Kind::LargeSearch, false), "Search complete · Files found: 12 · Skipped: 3 · Errors: 0"},
        {made(Kind::LargeSearch, true, [](HistoryEvent &event) { event.truncated = true, event.detail = W("!"); }),
         "Search canceled · Files found: 12 · Skipped: 3 · Errors: 0\n"
         "The list is limited. Increase the minimum size and search again.!"},
        {made(Kind::LargeSearch, true,
              [](HistoryEvent &event) { event.text = W("Некорректная папка для поиска."), event.detail = W(" x"); }),
         "Invalid search folder. x"},
        {made(Kind::LargeSearch, false,
              [](HistoryEvent &event) { event.text = W("файлов"), event.literalText = true; }),
         "файлов"},
        {made(Kind::Recycle, false),
         "Moved to Recycle Bin: 12 · 1.5 KB\nSkipped: 3 · Errors: 0\nUnavailable or changed files were kept."},
        {made(Kind::Recycle, true, [](HistoryEvent &event) { event.errors = 1, event.detail = W("\r\n"); }),
         "Move canceled.\nMoved to Recycle Bin: 12 · 1.5 KB\nSkipped: 3 · Errors: 1\n"
         "Files with errors are excluded from the result. Check the system Recycle Bin.\r\n"},
        {made(Kind::Message, true, [](HistoryEvent &event) { event.text = W("файлов"), event.detail = W("x"); }),
         "filesx"},
        {made(Kind::Message, false, [](HistoryEvent &event) { event.text = W("anything"); }), "anything"},
    };
    setLanguage("en");
    for (const auto &[event, text] : cases)
        EXPECT_EQ(encodeUtf8Lossy(renderHistoryEvent(event)), text);
    HistoryEvent large = made(HistoryKind::Scan, false);
    large.files = large.bytes = large.skipped = large.errors = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(encodeUtf8Lossy(renderHistoryEvent(large)),
              "Scan: 18446744073709551615 files, 17179869184.00 GB. Scan complete · Skipped: 18446744073709551615 · "
              "Errors: 18446744073709551615");
}

// A log over years and languages: each entry in the language of the moment, and what is not understood as it stands.
TEST(HistoryView, LogFollowsTheLanguage) {
    HistoryEvent scan = made(HistoryKind::Scan, false);
    HistoryEvent literal;
    literal.text = W("files");
    literal.literalText = true;
    const std::string damaged = "@DM-HISTORY-1\t{\"v\":1,\"time\":1700000000}";
    const std::string log = "\xEF\xBB\xBFno entry\r\n"
                            "2021-03-04 05:06:07\tScan: 2 files, 1,5 KB. Scan complete · files in use or "
                            "inaccessible: 1 · errors: 0\r\n"
                            "2021-03-04 05:06:08 \t Очистка завершена.\r\nУдалено: 2 файлов; 0,5 КБ.\r\n"
                            "Пропущено: 0. Ошибок: 0.\r\n\r\nПовторите анализ для обновления списка.\r\n" +
                            recordOf(scan) + "\r\n" + damaged + "\r\n" + recordOf(literal) + "\n" +
                            "2021-04-31 05:06:07 Self-test passed\r\n\n"
                            "2021-04-30 05:06:07 Self-test passed\r\n\n"
                            "2021-05-01 05:06:07 unknown\nand\r\nmore \x07\xFF\r\n" +
                            messageRecord(W("No activity yet")) +
                            "\r\n"
                            "2021-05-01 05:06:07 The scan could not finish. [E7]";
    const std::string start = "\xEF\xBB\xBFno entry\r\n";
    const auto expected = [&](const char *language, const std::string &oldScan, const std::string &cleanup,
                              const std::string &newScan, const std::string &passed, const std::string &empty,
                              const std::string &failed) {
        return start + "2021-03-04 05:06:07\t" + oldScan + "\r\n2021-03-04 05:06:08 \t " + cleanup + "\r\n" +
               stampIn(language) + newScan + "\r\n" + damaged + "\r\n" + stampIn(language) + "files\n" +
               "2021-04-31 05:06:07 Self-test passed\r\n\r\n2021-04-30 05:06:07 " + passed +
               "\r\n\n2021-05-01 05:06:07 unknown\r\nand\r\nmore \xEF\xBF\xBD\xEF\xBF\xBD\r\n" + stampIn(language) +
               empty + "\r\n2021-05-01 05:06:07 " + failed + " [E7]";
    };
    EXPECT_EQ(rendered(log, "en"),
              expected("en", "Scan: 2 files, 1.5 KB. Scan complete · Skipped: 1 · Errors: 0",
                       "Cleanup complete.\r\nDeleted: 2 files; 512 B.\r\nSkipped: 0. Errors: 0.\r\n\r\n"
                       "Scan again to update the list.",
                       "Scan: 12 files, 1.5 KB. Scan complete · Skipped: 3 · Errors: 0", "Self-test passed.",
                       "No activity yet", "The scan could not finish."));
    EXPECT_EQ(rendered(log, "ru"),
              expected("ru", "Анализ: 2 файлов, 1.5 КБ. Анализ завершён · Пропущено: 1 · Ошибок: 0",
                       "Очистка завершена.\r\nУдалено: 2 файлов; 512 Б.\r\nПропущено: 0. Ошибок: 0.\r\n\r\n"
                       "Повторите анализ для обновления списка.",
                       "Анализ: 12 файлов, 1.5 КБ. Анализ завершён · Пропущено: 3 · Ошибок: 0",
                       "Самопроверка пройдена.", "История пока пуста", "Не удалось завершить анализ."));
    // What the renderer itself writes behind a stamp is an old sentence again.
    const std::string old = log.substr(0, log.find("@DM"));
    EXPECT_EQ(rendered(rendered(rendered(old, "ru"), "en"), "ru"), rendered(old, "ru"));
}

TEST_F(HistoryTail, MissingEmptyAndUnreadableFilesAreTold) {
    const std::pair<std::string, bool> nothing = {"No activity yet", false};
    const std::pair<std::string, bool> unavailable = {"History file unavailable", false};
    EXPECT_EQ(load(), nothing);
    EXPECT_EQ(loadOf(""), nothing);
    EXPECT_EQ(loadOf("\n"), std::pair(std::string("\r\n"), false));
    fs::remove(path);
    fs::create_directory(path);
    EXPECT_EQ(load(), unavailable);
    fs::remove(path);
    fs::create_symlink("other", path);
    std::ofstream(path.parent_path() / "other") << "another file\n";
    EXPECT_EQ(load(), unavailable);
}

TEST_F(HistoryTail, OnlyTheEndOfALongFileIsShown) {
    const std::string last = "the last line\r\n";
    std::string log(tailBytes - last.size() - 2, 'x');
    log += "\r\n" + last;
    EXPECT_EQ(loadOf(log), std::pair(log, false));
    EXPECT_EQ(loadOf('x' + log), std::pair(last, true));
    EXPECT_EQ(loadOf("lost\r\n" + log), std::pair(last, true));
    // Without a line feed at all, the text begins with a whole character; each one here takes three bytes.
    std::string units;
    while (units.size() < tailBytes + 1)
        units += "€";
    EXPECT_EQ(loadOf(units), std::pair(units.substr(units.size() - tailBytes + tailBytes % 3), true));
    EXPECT_EQ(loadOf(std::string(tailBytes, 'x') + "\n"), std::pair(std::string("No activity yet"), true));
    EXPECT_EQ(loadOf(std::string(tailBytes + 1, '\x80')), std::pair(std::string("No activity yet"), true));
}
