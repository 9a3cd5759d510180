// dustmere_torture [ATTEMPTS] [SEED]: the deletion under attack, half of the attempts with a cleaner that is killed,
// and a sixteenth as many moves to the Recycle Bin, likewise. Prints one line of JSON; what must not have happened goes
// to standard error, and then the exit code is 1. 77 where no namespaces can be had.
#include "torture/torture.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>

namespace {

using namespace dm::torture;

constexpr int skipped = 77;

struct Sum {
    std::map<std::string, std::uint64_t> figures;
    std::map<std::string, std::uint64_t> operations;
    std::string volume;
};

void add(Sum &sum, const TortureReport &report) {
    const std::pair<const char *, std::uint64_t> figures[] = {
        {"attempts", report.attempts},
        {"deleted", report.deleted},
        {"moved", report.moved},
        {"skipped", report.skipped},
        {"errors", report.errors},
        {"locked_skipped", report.lockedSkipped},
        {"locked_errors", report.lockedErrors},
        {"retries", report.retries},
        {"starts", report.starts},
        {"stops", report.stops},
        {"stops_with_name_gone", report.stopsWithNameGone},
        {"kills", report.kills},
        {"kills_in_deletion", report.killsInDeletion},
        {"kills_with_name_gone", report.killsWithNameGone},
        {"files_made", report.filesMade},
        {"precious_checked", report.preciousChecked},
        {"changed_in_time", report.sealed},
        {"violations", report.violationCount},
    };
    for (const auto &[name, figure] : figures)
        sum.figures[name] += figure;
    for (const auto &[name, count] : report.operations)
        sum.operations[name] += count;
    sum.volume = report.volume;
}

std::string objectOf(const std::map<std::string, std::uint64_t> &numbers) {
    std::string text;
    for (const auto &[name, number] : numbers)
        text += (text.empty() ? "{\"" : ",\"") + name + "\":" + std::to_string(number);
    return text + '}';
}

void print(const TortureOptions &options, const TortureReport &report) {
    const char *what = options.moves ? "moved" : options.dataElsewhere ? "data elsewhere" : "one volume";
    for (const std::string &violation : report.violations)
        std::fprintf(stderr, "%s, %s: %s\n", options.kill ? "killed" : "not killed", what, violation.c_str());
}

/// Whether every attacker had its success. A run in which one had none proves less than it says.
bool areComplete(const std::map<std::string, std::uint64_t> &operations) {
    bool complete = true;
    for (const auto &[name, count] : operations) {
        if (count == 0)
            std::fprintf(stderr, "never succeeded: %s\n", name.c_str());
        complete = complete && count != 0;
    }
    return complete;
}

/// 0, 1 where something was lost, 2 where the torture could not be done.
int run(std::uint64_t attempts, std::uint64_t seed) {
    // What a killed cleaner leaves must come back under its name unless its journal was attacked; so one of the two
    // rounds does without that, in turn.
    const bool inTurn = seed % 2 == 0;
    const TortureOptions rounds[] = {
        {.attempts = (attempts + 3) / 4, .attackJournal = true},
        {.attempts = (attempts + 3) / 4, .dataElsewhere = true, .attackJournal = true},
        {.attempts = (attempts + 3) / 4, .kill = true, .attackJournal = inTurn},
        {.attempts = (attempts + 3) / 4, .kill = true, .dataElsewhere = true, .attackJournal = !inTurn},
        {.attempts = (attempts + 31) / 32, .moves = true, .attackTrash = true, .attackJournal = true},
        {.attempts = (attempts + 31) / 32, .kill = true, .moves = true},
    };
    Sum sum;
    bool failed = false;
    for (TortureOptions options : rounds) {
        options.seed = seed++;
        options.folder = std::filesystem::temp_directory_path();
        const TortureReport report = runTorture(options);
        if (!report.unavailable.empty()) {
            std::fprintf(stderr, "dustmere_torture: skipped: %s\n", report.unavailable.c_str());
            if (!options.moves)
                return skipped;
            continue;
        }
        print(options, report);
        failed = failed || !report.violations.empty();
        add(sum, report);
    }
    std::printf("{\"phase\":\"torture\",\"volume\":\"%s\",\"figures\":%s,\"operations\":%s}\n", sum.volume.c_str(),
                objectOf(sum.figures).c_str(), objectOf(sum.operations).c_str());
    return failed || !areComplete(sum.operations) ? 1 : 0;
}

} // namespace

int main(int count, char **arguments) {
    try {
        return run(count > 1 ? std::strtoull(arguments[1], nullptr, 10) : 20'000,
                   count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 1);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "dustmere_torture: %s\n", error.what());
        return 2;
    }
}
