// Any bytes as a stretch of the history: every line is shown, and what surrounds a record changes nothing about it.
#include "data/encoding.h"
#include "data/history_legacy.h"
#include "data/history_view.h"
#include "i18n/language.h"
#include "require.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

using namespace dm;

namespace {

const std::string record =
    std::string(historyMarker) +
    R"({"v":1,"time":1700000000,"kind":"scan","files":"12","bytes":"3456789","skipped":"0","errors":"1",)"
    R"("cancelled":false,"recycle_emptied":false,"truncated":false,"counters_known":true,"message":"","text":"",)"
    R"("detail":""})"
    "\r\n";

void requireEveryLineToBeShown(std::string_view log, const WString &shown) {
    require(std::count(shown.begin(), shown.end(), W('\n')) >= std::count(log.begin(), log.end(), '\n'),
            "no line is dropped");
    require(log.empty() == shown.empty(), "nothing but nothing is shown as nothing");
    require(decodeUtf8Lossy(encodeUtf8Lossy(shown)) == shown, "no control character is shown");
}

void requireRecordsToStandAlone(const std::string &log, const WString &shown) {
    const std::string line = log.empty() || log.ends_with('\n') ? log : log + '\n';
    require(renderHistoryLog(line + record) == renderHistoryLog(line) + renderHistoryLog(record),
            "a record behind a log changes nothing");
    require(renderHistoryLog(record + log) == renderHistoryLog(record) + shown,
            "a record before a log changes nothing");
}

void requireSentenceToMeanTheSame(const WString &text) {
    HistoryEvent event;
    if (!parseLegacyEvent(text, event)) {
        require(event == HistoryEvent(), "a declined sentence changes nothing");
        return;
    }
    if (event.kind == HistoryKind::Message) {
        require(findCatalogueRow(event.text) != nullptr, "a message is one of the catalogue");
        return;
    }
    // A size close to the largest is rounded up to what does not fit any more.
    if (event.bytes >> 40 == 0xFFFFFF)
        return;
    HistoryEvent again;
    require(parseLegacyEvent(renderHistoryEvent(event), again), "what is shown is a sentence again");
    again.bytes = event.bytes; // the unit does not show all of it
    require(again == event, "what is shown means the same");
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name that libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string log(reinterpret_cast<const char *>(data), size);
    for (const char *language : {"en", "ru"}) {
        setLanguage(language);
        const WString shown = renderHistoryLog(log);
        requireEveryLineToBeShown(log, shown);
        requireRecordsToStandAlone(log, shown);
        requireSentenceToMeanTheSame(decodeUtf8Lossy(log));
    }
    return 0;
}
