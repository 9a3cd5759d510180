#include "recycle.h"

#include "large/recycle.h"
#include "measure.h"

#include <map>
#include <numeric>

namespace dm::bench {

namespace {

const std::atomic<bool> neverCancelled = false;

large::LargeSearchResult search(const WString &folder, std::uint64_t minMegabytes) {
    const Stopwatch stopwatch;
    large::LargeSearchResult found =
        large::searchLargeFiles({.root = folder, .minBytes = minMegabytes << 20}, neverCancelled, {});
    Line("search")
        .add("entries", found.entries.size())
        .add("bytes", found.totalBytes)
        .add("files_checked", found.filesChecked)
        .add("skipped", found.skipped)
        .add("errors", found.errors)
        .add("last_error", found.lastError)
        .addFlag("limited", found.limited)
        .print(stopwatch);
    return found;
}

} // namespace

void recycleLargeFiles(const WString &folder, std::uint64_t minMegabytes) {
    const large::LargeSearchResult found = search(folder, minMegabytes);
    std::vector<std::uint64_t> all(found.entries.size());
    std::iota(all.begin(), all.end(), 0);
    const Stopwatch stopwatch;
    const large::RecycleResult result = large::moveToRecycleBin(found, all, neverCancelled, {}, nullptr);
    Line("recycle")
        .add("moved", result.moved)
        .add("bytes", result.movedBytes)
        .add("kept", result.kept)
        .add("errors", result.errors)
        .addFlag("cancelled", result.cancelled)
        .print(stopwatch);

    std::map<std::pair<large::RecycleStatus, std::uint32_t>, std::uint64_t> counts;
    for (const large::RecycleOutcome &outcome : result.outcomes)
        ++counts[{outcome.status, outcome.code}];
    for (const auto &[verdict, count] : counts)
        Line("recycle-outcome")
            .add("status", static_cast<std::uint64_t>(verdict.first))
            .add("code", verdict.second)
            .add("files", count)
            .print(stopwatch);
}

} // namespace dm::bench
