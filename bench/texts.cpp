#include "texts.h"

#include "allocations.h"
#include "data/history_view.h"
#include "data/settings.h"
#include "i18n/catalogue.h"
#include "i18n/language.h"
#include "measure.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace dm::bench {

namespace {

constexpr std::size_t logBytes = 0x200000;
constexpr int trPairs = 9;
constexpr int trRounds = 1000;

/// Records of all kinds, some hours apart.
HistoryEvent eventOf(std::uint64_t number) {
    HistoryEvent event;
    event.kind = static_cast<HistoryKind>(number % 5);
    event.files = number * 7;
    event.bytes = number * number * 1234567;
    event.skipped = number % 9;
    event.errors = number % 3;
    event.recycleEmptied = number % 2 == 0;
    if (event.kind == HistoryKind::Message)
        event.text = catalogueKeys[number % catalogueSize].source;
    return event;
}

std::pair<std::string, std::uint64_t> makeLog() {
    constexpr std::int64_t firstTime = 1'600'000'000;
    constexpr std::int64_t apart = 11'777;
    std::string log;
    for (std::uint64_t number = 0;; ++number) {
        const std::int64_t time = firstTime + static_cast<std::int64_t>(number) * apart;
        const std::string line = formatHistoryRecord(eventOf(number), time) + "\r\n";
        if (log.size() + line.size() > logBytes)
            return {log, number};
        log += line;
    }
}

/// What tr cannot do without: the search, and a copy of what it finds.
[[gnu::noinline]] WString bareLookup(WStringView text) {
    const CatalogueColumn &sources = catalogueColumns[0];
    const auto *row = std::lower_bound(sources.begin(), sources.end(), text);
    return WString(catalogueColumns[1][static_cast<std::size_t>(row - sources.begin())]);
}

/// Of many rounds through all texts.
struct Lookups {
    std::vector<double> seconds;
    std::uint64_t units = 0;
    std::uint64_t allocations = 0;
};

template <typename Lookup>
void lookUp(const std::vector<WStringView> &texts, Lookup lookup, Lookups &lookups) {
    const std::uint64_t allocationsBefore = allocationCount();
    const Stopwatch stopwatch;
    for (const WStringView text : texts)
        lookups.units += lookup(text).size();
    const double seconds = stopwatch.seconds();
    lookups.allocations += allocationCount() - allocationsBefore;
    lookups.seconds.push_back(seconds);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<WStringView> shuffledSources() {
    std::vector<WStringView> texts(catalogueColumns[0].begin(), catalogueColumns[0].end());
    std::shuffle(texts.begin(), texts.end(), std::mt19937(1));
    return texts;
}

} // namespace

void measureHistory(const std::string &language) {
    if (languageIndex(language) < 0)
        throw std::runtime_error(language + ": is no language of the program");
    setLanguage(language);
    const auto [log, records] = makeLog();
    const Stopwatch stopwatch;
    const WString text = renderHistoryLog(log);
    const double seconds = stopwatch.seconds();
    if (text.find(W("@DM")) != WString::npos)
        throw std::runtime_error("a record was not rendered");
    Line("history").add("bytes", log.size()).add("records", records).add("units", text.size()).print(seconds);
}

void measureTr() {
    setLanguage("en");
    const std::vector<WStringView> texts = shuffledSources();
    for (int pair = 0; pair < trPairs; ++pair) {
        const Stopwatch stopwatch;
        Lookups ours;
        Lookups bare;
        // In short turns, each way first as often as last: what else the machine does is then borne by both.
        for (int round = 0; round < trRounds; ++round) {
            if (round % 2 == 0)
                lookUp(texts, tr, ours);
            lookUp(texts, bareLookup, bare);
            if (round % 2 != 0)
                lookUp(texts, tr, ours);
        }
        if (ours.units != bare.units)
            throw std::runtime_error("the two look-ups differ");
        Line("tr")
            .add("lookups", texts.size() * trRounds)
            .add("allocations_beyond_results", ours.allocations - bare.allocations)
            .addSeconds("bare_seconds", median(bare.seconds), 9)
            .addSeconds("round_seconds", median(ours.seconds), 9)
            .print(stopwatch);
    }
}

void saveStartSettings() {
    Settings settings;
    settings.language = "de";
    settings.theme = "dark";
    saveSettings(settings);
}

void measureStart() {
    const Stopwatch stopwatch;
    const Settings settings = loadSettings();
    setLanguage(settings.language);
    const double seconds = stopwatch.seconds();
    if (currentLanguageCode() != "de")
        throw std::runtime_error("there are no settings of an earlier start");
    Line("startup").print(seconds);
}

} // namespace dm::bench
