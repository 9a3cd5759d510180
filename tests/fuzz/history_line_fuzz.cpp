// Any bytes as a line of the history: what the reader accepts can be written again and means the same; and any text as
// a message: what the writer accepts, the reader reads back.
#include "data/encoding.h"
#include "data/history.h"
#include "i18n/language.h"
#include "require.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace dm;

namespace {

constexpr std::int64_t latestTime = 253402300799;
constexpr std::size_t maximumUnits = 8192;

bool isCanonical(const WString &text) {
    return decodeUtf8Lossy(encodeUtf8Lossy(text)) == text;
}

/// Writes an event inside the bounds and gives what is read.
HistoryEvent writtenAndRead(const HistoryEvent &event, std::int64_t time) {
    const std::string line = formatHistoryRecord(event, time);
    require(line.find_first_of("\r\n") == std::string::npos, "a record is one line");
    HistoryEvent again;
    std::int64_t timeAgain = 0;
    require(parseHistoryRecord(line, again, timeAgain), "what is written can be read");
    require(timeAgain == time, "the time stays");
    return again;
}

void requireAcceptedLineToSurvive(std::string_view line) {
    HistoryEvent event;
    std::int64_t time = 0;
    if (!parseHistoryRecord(line, event, time)) {
        require(event == HistoryEvent() && time == 0, "a refused line changes nothing");
        return;
    }
    require(line.starts_with(historyMarker), "a record is marked");
    require(time >= 1 && time <= latestTime, "the time is in bounds");
    require(event.kind <= HistoryKind::Message, "the kind is one of the five");
    require(isCanonical(event.text) && isCanonical(event.detail), "texts hold no control characters");
    require(event.literalText || findCatalogueRow(event.text) != nullptr, "a message is one of the catalogue");
    // The reader leaves more room than the writer uses.
    if (event.text.size() <= maximumUnits && event.detail.size() <= maximumUnits)
        require(writtenAndRead(event, time) == event, "a record that is written again is the same");
}

void requireTextToBeKept(const WString &text, const WString &detail) {
    HistoryEvent event;
    event.text = text;
    event.detail = detail;
    try {
        const HistoryEvent again = writtenAndRead(event, 1);
        const CatalogueKey *row = findCatalogueRow(text);
        require(again.literalText == (row == nullptr), "only the catalogue's texts are looked up");
        require(again.text == (row == nullptr ? decodeUtf8Lossy(encodeUtf8Lossy(text)) : WString(row->source)),
                "the text is kept");
        require(again.detail == decodeUtf8Lossy(encodeUtf8Lossy(detail)), "the detail is kept");
    } catch (const std::runtime_error &error) {
        require(error.what() == std::string_view("history bounds") &&
                    (text.size() > maximumUnits || detail.size() > maximumUnits),
                "only long texts are refused");
    }
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name that libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    requireAcceptedLineToSurvive(bytes);
    requireAcceptedLineToSurvive(std::string(historyMarker) + std::string(bytes));

    // Units of any value, unpaired surrogates too.
    WString units;
    for (std::size_t index = 0; index + 1 < size; index += 2)
        units += static_cast<WChar>(data[index] << 8 | data[index + 1]);
    requireTextToBeKept(units, decodeUtf8Lossy(bytes));
    requireTextToBeKept(decodeUtf8Lossy(bytes), units);
    return 0;
}
