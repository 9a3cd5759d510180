// The activity history: what the program did, kept for the user in "history.log" of the data folder, one record a line.
// A record holds facts and message keys and no sentences, so that a log written in one language is shown in another.
#pragma once

#include "platform/text.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace dm {

enum class HistoryKind : std::uint32_t { Scan, Cleanup, LargeSearch, Recycle, Message };

struct HistoryEvent {
    HistoryKind kind = HistoryKind::Message;
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    std::uint64_t skipped = 0;
    std::uint64_t errors = 0;
    bool cancelled = false;
    bool recycleEmptied = false;
    bool truncated = false;    ///< the list of a search was cut at its limit
    bool countersKnown = true; ///< `skipped` and `errors` mean something
    WString text;              ///< a source text of the message catalogue, or any text
    WString detail;            ///< stands behind the rendered text, without anything between
    bool literalText = false;  ///< `text` is final and not looked up; only the reader sets it

    bool operator==(const HistoryEvent &) const = default;
};

/// What a line of the present form begins with.
inline constexpr std::string_view historyMarker = "@DM-HISTORY-1\t";

/// Where the history lies. Throws as dataFolder does.
WString historyPath();

/// Appends a record with the present time. What cannot be written is not recorded, and nobody is told.
void appendHistory(const HistoryEvent &event) noexcept;
/// Records a plain message: its text (a source text of the message catalogue) and a detail, which may be empty.
void appendHistoryMessage(const WString &text, const WString &detail);

/// The line of an event, without its line end; the time in seconds since 1970. Throws a runtime error "history bounds"
/// for a time outside the years 1970 to 9999 or a text or detail of more than 8,192 units.
std::string formatHistoryRecord(const HistoryEvent &event, std::int64_t time);

/// Reads a line without its line end. False, with event and time as they were, for anything but a sound record.
bool parseHistoryRecord(std::string_view line, HistoryEvent &event, std::int64_t &time) noexcept;

} // namespace dm
