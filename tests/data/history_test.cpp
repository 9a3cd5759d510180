#include "data/history.h"

#include "data/encoding.h"
#include "i18n/language.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

using namespace dm;
using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t latestTime = 253402300799;
constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

const std::string soundLine =
    "@DM-HISTORY-1\t"
    R"({"v":1,"time":1700000000,"kind":"scan","files":"12","bytes":"3456789","skipped":"0","errors":"1",)"
    R"("cancelled":false,"recycle_emptied":false,"truncated":false,"counters_known":true,"message":"","text":"",)"
    R"("detail":""})";

HistoryEvent soundEvent() {
    HistoryEvent event;
    event.kind = HistoryKind::Scan;
    event.files = 12;
    event.bytes = 3456789;
    event.errors = 1;
    return event;
}

HistoryEvent message(WStringView text, WStringView detail = {}) {
    HistoryEvent event;
    event.text = text;
    event.detail = detail;
    return event;
}

std::string replaced(std::string line, std::string_view from, std::string_view to) {
    const std::size_t start = line.find(from);
    EXPECT_NE(start, std::string::npos) << from;
    return line.replace(start, from.size(), to);
}

bool isSound(std::string_view line) {
    HistoryEvent event;
    std::int64_t time = 0;
    return parseHistoryRecord(line, event, time);
}

bool isWritten(const HistoryEvent &event, std::int64_t time) {
    try {
        formatHistoryRecord(event, time);
        return true;
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "history bounds");
        return false;
    }
}

/// What the reader has to make of an event that was written.
HistoryEvent asReadBack(HistoryEvent event) {
    if (event.kind > HistoryKind::Message)
        event.kind = HistoryKind::Message;
    const CatalogueKey *row = event.literalText ? nullptr : findCatalogueRow(event.text);
    event.literalText = row == nullptr;
    event.text = row == nullptr ? decodeUtf8Lossy(encodeUtf8Lossy(event.text)) : WString(row->source);
    event.detail = decodeUtf8Lossy(encodeUtf8Lossy(event.detail));
    return event;
}

/// Values on both sides of every limit.
class Generator {
public:
    HistoryEvent event() {
        HistoryEvent event;
        event.kind = static_cast<HistoryKind>(number(7) == 6 ? 0xFFFFFFFF : number(6));
        event.files = counter();
        event.bytes = counter();
        event.skipped = counter();
        event.errors = counter();
        event.cancelled = number(2) == 0;
        event.recycleEmptied = number(2) == 0;
        event.truncated = number(2) == 0;
        event.countersKnown = number(2) == 0;
        event.text = text();
        event.detail = text();
        event.literalText = number(4) == 0;
        return event;
    }
    std::int64_t time() {
        return pick<std::int64_t>({1, 2, 1700000000, 0x7FFFFFFF, 0x80000000, latestTime - 1, latestTime, 0, -1,
                                   latestTime + 1, std::numeric_limits<std::int64_t>::min(),
                                   std::numeric_limits<std::int64_t>::max()});
    }

private:
    std::size_t number(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }
    template <typename Value>
    Value pick(const std::vector<Value> &values) {
        return values[number(values.size())];
    }
    std::uint64_t counter() {
        return pick<std::uint64_t>(
            {0, 1, 9, 10, 999, 1ULL << 32, 1ULL << 53, (1ULL << 53) + 1, 1ULL << 63, largest - 1, largest, random_()});
    }
    WString text() {
        if (number(3) == 0)
            return pick<WString>({W(""), W("файлов"), W("files"), W("\nRecycle Bin emptied."), W("Dateien"),
                                  W("Самопроверка пройдена."), W("m:5016838282f85baa"), W("@DM-HISTORY-1\t{}\r\n")});
        const std::size_t units = pick<std::size_t>({0, 1, 2, 40, 8190, 8191, 8192, 8193, 9000});
        // Each alphabet is written at a different length: as it is, escaped, as several bytes, replaced.
        const WString alphabet = pick<WString>({W("abc"),
                                                W("\"\\\t\r\n/"),
                                                W("яß€\uFFFD"),
                                                WString(W("\0\x1\x1F\x7F"), 4),
                                                {0xD800, 0xDC00, 0xDFFF, 0xDBFF, 'x'},
                                                {0xD83D, 0xDE00}});
        WString text;
        for (std::size_t unit = 0; unit < units; ++unit)
            text += alphabet[number(alphabet.size())];
        return text;
    }

    std::mt19937_64 random_{20240229};
};

std::vector<std::string> linesOf(const std::string &log) {
    std::vector<std::string> lines;
    for (std::size_t start = 0, end = 0; start < log.size(); start = end + 2) {
        end = log.find("\r\n", start);
        if (end == std::string::npos) {
            ADD_FAILURE() << "the last line has no end";
            break;
        }
        lines.push_back(log.substr(start, end - start));
    }
    return lines;
}

/// The data folder of this test process, empty.
class HistoryFile : public testing::Test {
protected:
    void SetUp() override { fs::remove_all(folder); }

    std::string log() const {
        std::ifstream file(folder / "history.log", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const fs::path folder = fs::path(std::getenv("XDG_DATA_HOME")) / "Dustmere";
};

void appendNumbered(const std::string &writer, int records, std::size_t units) {
    for (int record = 0; record < records; ++record)
        appendHistoryMessage(utf8ToWide(writer), utf8ToWide(std::to_string(record)) + WString(units, W('\n')));
}

/// Two threads in a process of their own, which waits for the others at the gate.
pid_t startWriters(const std::string &name, int records, const int (&gate)[2]) {
    const pid_t child = fork();
    if (child != 0)
        return child;
    close(gate[1]);
    char unused = 0;
    if (read(gate[0], &unused, 1) != 0)
        _exit(1);
    std::thread other(appendNumbered, name + " short", records, 1);
    appendNumbered(name + " long", records, 8000);
    other.join();
    _exit(0);
}

} // namespace

TEST(HistoryRecord, HoldsFactsAndKeysAndNoSentences) {
    EXPECT_EQ(formatHistoryRecord(soundEvent(), 1700000000), soundLine);
    const std::pair<HistoryKind, std::string> kinds[] = {
        {HistoryKind::Cleanup, "cleanup"}, {HistoryKind::LargeSearch, "large_search"},
        {HistoryKind::Recycle, "recycle"}, {HistoryKind::Message, "message"},
        {HistoryKind(5), "message"},       {HistoryKind(0xFFFFFFFF), "message"}};
    for (const auto &[kind, word] : kinds) {
        HistoryEvent event = soundEvent();
        event.kind = kind;
        EXPECT_EQ(formatHistoryRecord(event, 1700000000), replaced(soundLine, "scan", word));
    }
    const auto endOf = [](const HistoryEvent &event) {
        const std::string line = formatHistoryRecord(event, 1);
        return line.substr(line.find("\"message\":"));
    };
    const std::string files = R"("message":"m:5016838282f85baa","text":"","detail":""})";
    for (const char *language : {"ru", "en", "ar"}) {
        setLanguage(language);
        EXPECT_EQ(endOf(message(W("файлов"))), files);
        EXPECT_EQ(endOf(message(W("files"))), files);
        EXPECT_EQ(endOf(message(W("Dateien"))), R"("message":"","text":"Dateien","detail":""})");
    }
    HistoryEvent literal = message(W("files"), W("\a\xD800\r\n\"\\"));
    literal.literalText = true;
    EXPECT_EQ(endOf(literal),
              "\"message\":\"\",\"text\":\"files\",\"detail\":\"\xEF\xBF\xBD\xEF\xBF\xBD\\r\\n\\\"\\\\\"}");
}

TEST(HistoryRecord, WhatIsWrittenReadsBackEqual) {
    Generator generator;
    int written = 0;
    for (int round = 0; round < 2000; ++round) {
        const HistoryEvent event = generator.event();
        const std::int64_t time = generator.time();
        const bool inBounds =
            time >= 1 && time <= latestTime && event.text.size() <= 8192 && event.detail.size() <= 8192;
        ASSERT_EQ(isWritten(event, time), inBounds) << round;
        if (!inBounds)
            continue;
        HistoryEvent readEvent;
        std::int64_t readTime = 0;
        const std::string line = formatHistoryRecord(event, time);
        ASSERT_EQ(line.find_first_of("\r\n"), std::string::npos) << round;
        ASSERT_TRUE(parseHistoryRecord(line, readEvent, readTime)) << line;
        ASSERT_TRUE(readEvent == asReadBack(event) && readTime == time) << line;
        ASSERT_EQ(formatHistoryRecord(readEvent, readTime), formatHistoryRecord(asReadBack(event), time));
        ++written;
    }
    EXPECT_GT(written, 500);
}

TEST(HistoryRecord, ReaderTakesEveryFormInsideItsLimits) {
    const std::string padding(131072 - (soundLine.size() - 14), ' ');
    const std::string sound[] = {
        replaced(soundLine, "\"12\"", "\"18446744073709551615\""),
        replaced(soundLine, "1700000000", "253402300799"),
        replaced(soundLine, "1700000000", "1"),
        replaced(soundLine, R"("text":"")", R"("text":")" + std::string(32768, 'x') + '"'),
        replaced(soundLine, R"("detail":"")", R"("detail":"\u00e9\ud83d\ude00\ufffd")"),
        replaced(soundLine, R"("message":"")", R"("message":"m:753ab15533f38cba")"),
        replaced(replaced(soundLine, R"("v":1,)", ""), "}", R"( , "v" : 1 } )"),
        soundLine + padding,
    };
    for (const std::string &line : sound)
        EXPECT_TRUE(isSound(line)) << line;
    EXPECT_FALSE(isSound(soundLine + padding + ' '));

    HistoryEvent event;
    std::int64_t time = 0;
    ASSERT_TRUE(parseHistoryRecord(sound[5], event, time));
    EXPECT_TRUE(event.text == W("Нет") && !event.literalText && time == 1700000000);
    ASSERT_TRUE(parseHistoryRecord(sound[3], event, time));
    EXPECT_TRUE(event.text == WString(32768, W('x')) && event.literalText);
}

TEST(HistoryRecord, ReaderRefusesWhatIsDamaged) {
    std::vector<std::pair<std::string, std::vector<std::string>>> damages = {
        {"@DM-HISTORY-1\t",
         {"", "@DM-HISTORY-1 ", "@DM-HISTORY-2\t", " @DM-HISTORY-1\t", "\xEF\xBB\xBF@DM-HISTORY-1\t"}},
        {R"("v":1)", {R"("v":2)", R"("v":"1")", R"("v":1.0)", R"("v":1e0)", R"("v":true)", R"("w":1)"}},
        {R"("v":1,)", {"", R"("v":1,"v":1,)", R"("v":1,"more":1,)", R"("\u0076":1,"v":1,)"}},
        {"1700000000", {"0", "-1", "253402300800", "1.7e9", "\"1700000000\"", "9223372036854775808", "null"}},
        {"\"scan\"", {"\"Scan\"", "\"scan \"", "\"\"", "0", "\"large\"", "null"}},
        {R"("text":"",)",
         {"", R"("text":null,)", R"("text":"\u0001",)", R"("text":"\u007f",)", "\"text\":\"\x80\",",
          "\"text\":\"\xED\xA0\x80\",", "\"text\":\"\xC0\x80\",", R"("text":1,)", R"("text":"\ud800",)"}},
        {R"("message":"","text":"")",
         {R"("message":"m:5016838282f85baa","text":"x")", R"("message":"m:5016838282f85baA","text":"")",
          R"("message":"m:0000000000000000","text":"")", R"("message":"files","text":"")",
          R"("message":"m:5016838282f85baa ","text":"")", R"("message":null,"text":"")"}},
        {R"(""})", {R"(""}})", R"(""},)", R"("")", R"(""}x)", R"(""} {})", "\"\"}\0"s}},
    };
    for (const char *counter : {"\"12\"", "\"3456789\"", "\"0\"", "\"1\""})
        damages.push_back({counter,
                           {"12", "\"01\"", "\"00\"", "\"\"", "\"-1\"", "\"+1\"", "\" 1\"", "\"1 \"", "\"1.0\"",
                            "\"0x1\"", "\"18446744073709551616\"", "\"99999999999999999999\"",
                            "\"000000000000000000001\"", "\"1\\u0000\"", "null", "[\"1\"]"}});
    for (const char *flag :
         {R"("cancelled":false)", R"("recycle_emptied":false)", R"("truncated":false)", R"("counters_known":true)"}) {
        const std::string name(flag, std::string_view(flag).find(':') + 1);
        damages.push_back({flag, {name + "0", name + "\"true\"", name + "null", name + "True", name + "{}"}});
    }
    damages.push_back({R"("detail":"")", {R"("detail":")" + std::string(32769, 'x') + '"', R"("detail":[])"}});

    for (const auto &[sound, forms] : damages)
        for (const std::string &damaged : forms) {
            HistoryEvent event = message(W("before"));
            std::int64_t time = 42;
            EXPECT_FALSE(parseHistoryRecord(replaced(soundLine, sound, damaged), event, time)) << sound << damaged;
            EXPECT_TRUE(event == message(W("before")) && time == 42) << sound << damaged;
        }
    for (std::size_t size = 0; size < soundLine.size(); ++size)
        EXPECT_FALSE(isSound(soundLine.substr(0, size))) << size;
    for (const std::string &content : {"[1]"s, "[]"s, "{}"s, "7"s, std::string(40, '['), ""s})
        EXPECT_FALSE(isSound("@DM-HISTORY-1\t" + content)) << content;
}

TEST_F(HistoryFile, EachEventIsAppendedAsALine) {
    const std::int64_t before = std::time(nullptr);
    appendHistory(soundEvent());
    const std::string first = log();
    appendHistoryMessage(W("Самопроверка не пройдена."), W(" reason"));
    ASSERT_TRUE(log().starts_with(first));
    const std::vector<std::string> lines = linesOf(log());
    ASSERT_EQ(lines.size(), 2u);
    HistoryEvent event;
    std::int64_t time = 0;
    ASSERT_TRUE(parseHistoryRecord(lines[0], event, time));
    EXPECT_TRUE(event == asReadBack(soundEvent()) && time >= before && time <= std::time(nullptr));
    ASSERT_TRUE(parseHistoryRecord(lines[1], event, time));
    EXPECT_TRUE(event == message(W("Самопроверка не пройдена."), W(" reason")));
}

TEST_F(HistoryFile, WhatCannotBeWrittenChangesNothing) {
    appendHistory(soundEvent());
    const std::string before = log();
    appendHistoryMessage(WString(8193, W('x')), W(""));
    appendHistoryMessage(W(""), WString(8193, W('x')));
    EXPECT_EQ(log(), before);

    // Neither a folder in the file's place nor a file in the data folder's place stops the program.
    fs::remove_all(folder);
    fs::create_directories(folder / "history.log");
    appendHistory(soundEvent());
    EXPECT_TRUE(fs::is_empty(folder / "history.log"));
    fs::remove_all(folder);
    std::ofstream(folder) << "a file";
    appendHistory(soundEvent());
    EXPECT_EQ(fs::file_size(folder), 6u);
    // A link is nothing that the program would write through.
    fs::remove_all(folder);
    fs::create_directory(folder);
    std::ofstream(folder / "other") << "other";
    fs::create_symlink("other", folder / "history.log");
    appendHistory(soundEvent());
    EXPECT_EQ(fs::file_size(folder / "other"), 5u);
}

TEST_F(HistoryFile, ProcessesAndThreadsNeverMixOrLoseALine) {
    constexpr int records = 400;
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    for (const char *name : {"first", "second", "third"}) {
        children.push_back(startWriters(name, records, gate));
        ASSERT_GT(children.back(), 0);
    }
    close(gate[1]);
    close(gate[0]);
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    std::map<WString, int> next;
    for (const std::string &line : linesOf(log())) {
        HistoryEvent event;
        std::int64_t time = 0;
        ASSERT_TRUE(parseHistoryRecord(line, event, time)) << line.substr(0, 400);
        const std::string number = wideToUtf8(event.detail.substr(0, event.detail.find(W('\n'))));
        ASSERT_EQ(number, std::to_string(next[event.text]++)) << wideToUtf8(event.text);
    }
    ASSERT_EQ(next.size(), 6u);
    for (const auto &[writer, count] : next)
        EXPECT_EQ(count, records) << wideToUtf8(writer);
}
