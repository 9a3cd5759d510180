#include "data/history.h"

#include "data/encoding.h"
#include "files.h"
#include "i18n/language.h"

#include <thread>

#include <sys/wait.h>

using namespace dm;
using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t latestTime = 253402300799;

const std::string soundLine =
    "@DM-HISTORY-1\t"
    R"({"v":1,"time":1700000000,"kind":"scan","files":"12","bytes":"3456789","skipped":"0","errors":"1",)"
    R"("cancelled":false,"recycle_emptied":false,"truncated":false,"counters_known":true,"message":"","text":"",)"
    R"("detail":""})";

HistoryEvent soundEvent() {
    HistoryEvent event;
    event.kind = HistoryKind::Scan;
    event.literalText = true; // as every text that is not of the catalogue
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

/// The lines of a log that read as records; each line has to.
std::vector<HistoryEvent> eventsIn(const std::string &log) {
    std::vector<HistoryEvent> events;
    for (std::size_t start = 0, end = 0; start < log.size(); start = end + 2) {
        end = log.find("\r\n", start);
        std::int64_t time = 0;
        const std::string line = log.substr(start, end - start);
        const bool isRecord = end != log.npos && parseHistoryRecord(line, events.emplace_back(), time);
        EXPECT_TRUE(isRecord && std::time(nullptr) - time <= 3600) << line.substr(0, 400);
        if (!isRecord)
            break;
    }
    return events;
}

/// The data folder of this test process, empty.
class HistoryFile : public testing::Test {
protected:
    void SetUp() override { fs::remove_all(folder); }

    std::string log() const { return test::readFile(folder / "history.log"); }

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
    for (const std::uint64_t number : {std::uint64_t{0}, (std::uint64_t{1} << 53) + 1, ~std::uint64_t{0}}) {
        for (unsigned bits = 0; bits < 32; ++bits) {
            HistoryEvent event = message(W("\"\\\t\r\nя€\U0001F600"), WString(8192, W('/')));
            event.kind = static_cast<HistoryKind>(bits % 5);
            event.files = number;
            event.bytes = number / 2;
            event.skipped = number / 3;
            event.errors = number / 5;
            event.cancelled = (bits & 1) != 0;
            event.recycleEmptied = (bits & 2) != 0;
            event.truncated = (bits & 4) != 0;
            event.countersKnown = (bits & 8) != 0;
            event.literalText = (bits & 16) != 0;
            if (!event.literalText)
                event.text = W("файлов");
            for (const std::int64_t time : {std::int64_t{1}, latestTime}) {
                HistoryEvent found;
                std::int64_t foundTime = 0;
                ASSERT_TRUE(parseHistoryRecord(formatHistoryRecord(event, time), found, foundTime));
                ASSERT_TRUE(found == event && foundTime == time) << bits;
            }
        }
    }
    const HistoryEvent longText = message(WString(8193, W('x')));
    const HistoryEvent longDetail = message(W(""), WString(8193, W('x')));
    const std::pair<HistoryEvent, std::int64_t> refused[] = {
        {message(W("")), 0}, {message(W("")), latestTime + 1}, {longText, 1}, {longDetail, 1}};
    for (const auto &row : refused)
        EXPECT_EQ(test::failureOf([&] { formatHistoryRecord(row.first, row.second); }), "history bounds");
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
    appendHistory(soundEvent());
    const std::string first = log();
    appendHistoryMessage(W("Самопроверка не пройдена."), W(" reason"));
    ASSERT_TRUE(log().starts_with(first));
    const std::vector<HistoryEvent> events = eventsIn(log());
    ASSERT_EQ(events.size(), 2u);
    EXPECT_TRUE(events[0] == soundEvent());
    EXPECT_TRUE(events[1] == message(W("Самопроверка не пройдена."), W(" reason")));
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
    for (const HistoryEvent &event : eventsIn(log())) {
        const std::string number = wideToUtf8(event.detail.substr(0, event.detail.find(W('\n'))));
        ASSERT_EQ(number, std::to_string(next[event.text]++)) << wideToUtf8(event.text);
    }
    ASSERT_EQ(next.size(), 6u);
    for (const auto &[writer, count] : next)
        EXPECT_EQ(count, records) << wideToUtf8(writer);
}
