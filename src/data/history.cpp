#include "data/history.h"

#include "core/handles.h"
#include "data/data_folder.h"
#include "data/encoding.h"
#include "data/json.h"
#include "i18n/language.h"
#include "platform/win32.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace dm {

namespace {

constexpr std::int64_t latestTime = 253402300799; // the last second of the year 9999
constexpr std::size_t maximumUnits = 8192;        // of a text that is written
constexpr std::size_t maximumBytes = 32768;       // of a text that is read: the former in UTF-8, with room
constexpr std::size_t maximumObject = 0x20000;    // what the JSON reader takes
constexpr std::size_t memberCount = 14;
constexpr std::size_t maximumDigits = 20; // of a 64-bit number

constexpr std::string_view kindWords[] = {"scan", "cleanup", "large_search", "recycle", "message"};

std::string_view kindWord(HistoryKind kind) {
    return kindWords[std::min<std::size_t>(static_cast<std::size_t>(kind), std::size(kindWords) - 1)];
}

void addMember(std::string &object, std::string_view name, std::string_view value) {
    object += object.empty() ? '{' : ',';
    object += '"';
    object += name;
    object += "\":";
    object += value;
}

void addText(std::string &object, std::string_view name, std::string_view text) {
    addMember(object, name, jsonQuote(text));
}

// A counter is a text, since readers that hold numbers as floating point would not keep all of its 64 bits.
void addCounter(std::string &object, std::string_view name, std::uint64_t value) {
    addText(object, name, std::to_string(value));
}

void addFlag(std::string &object, std::string_view name, bool value) {
    addMember(object, name, value ? "true" : "false");
}

std::string formatObject(const HistoryEvent &event, std::int64_t time, std::string_view key, std::string_view text,
                         std::string_view detail) {
    std::string object;
    addMember(object, "v", "1");
    addMember(object, "time", std::to_string(time));
    addText(object, "kind", kindWord(event.kind));
    addCounter(object, "files", event.files);
    addCounter(object, "bytes", event.bytes);
    addCounter(object, "skipped", event.skipped);
    addCounter(object, "errors", event.errors);
    addFlag(object, "cancelled", event.cancelled);
    addFlag(object, "recycle_emptied", event.recycleEmptied);
    addFlag(object, "truncated", event.truncated);
    addFlag(object, "counters_known", event.countersKnown);
    addText(object, "message", key);
    addText(object, "text", text);
    addText(object, "detail", detail);
    object += '}';
    return object;
}

void appendLine(const WString &path, const std::string &line) {
    static std::mutex writer;
    const std::lock_guard lock(writer);
    const OwnedHandle file(CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return;
    DWORD written = 0;
    // One call for the whole line: another copy of the program may be appending too.
    WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void require(bool sound) {
    if (!sound)
        throw std::runtime_error("damaged record");
}

const JsonValue &requireKind(const JsonValue &value, JsonKind kind) {
    require(value.kind == kind);
    return value;
}

HistoryKind readKind(const JsonValue &object) {
    const std::string &word = requireKind(jsonField(object, "kind"), JsonKind::String).text;
    const auto found = std::find(std::begin(kindWords), std::end(kindWords), word);
    require(found != std::end(kindWords));
    return static_cast<HistoryKind>(found - std::begin(kindWords));
}

std::uint64_t readCounter(const JsonValue &object, std::string_view name) {
    const std::string &digits = requireKind(jsonField(object, name), JsonKind::String).text;
    require(!digits.empty() && digits.size() <= maximumDigits && (digits[0] != '0' || digits.size() == 1));
    std::uint64_t value = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    require(error == std::errc() && stop == end);
    return value;
}

bool readFlag(const JsonValue &object, std::string_view name) {
    const JsonValue &value = jsonField(object, name);
    if (value.kind != JsonKind::Boolean)
        throw std::runtime_error("JSON bool expected");
    return value.boolean;
}

// What the writer never produces, a control character or a broken sequence, is somebody else's work.
WString readText(const JsonValue &object, std::string_view name) {
    const std::string &bytes = requireKind(jsonField(object, name), JsonKind::String).text;
    require(bytes.size() <= maximumBytes);
    WString text = decodeUtf8Lossy(bytes);
    require(encodeUtf8Lossy(text) == bytes);
    return text;
}

void readMessage(const JsonValue &object, HistoryEvent &event) {
    const std::string &key = requireKind(jsonField(object, "message"), JsonKind::String).text;
    event.text = readText(object, "text");
    event.literalText = key.empty();
    if (event.literalText)
        return;
    const CatalogueKey *row = findCatalogueKey(key);
    require(row != nullptr && event.text.empty());
    event.text = row->source;
}

/// For a line that begins with the marker.
std::pair<HistoryEvent, std::int64_t> readRecord(std::string_view line) {
    const JsonValue object = parseJson(line.substr(historyMarker.size()));
    require(requireKind(object, JsonKind::Object).object.size() == memberCount);
    require(jsonInteger(jsonField(object, "v")) == 1);
    const std::int64_t time = jsonInteger(jsonField(object, "time"));
    require(time >= 1 && time <= latestTime);

    HistoryEvent event;
    event.kind = readKind(object);
    event.files = readCounter(object, "files");
    event.bytes = readCounter(object, "bytes");
    event.skipped = readCounter(object, "skipped");
    event.errors = readCounter(object, "errors");
    event.cancelled = readFlag(object, "cancelled");
    event.recycleEmptied = readFlag(object, "recycle_emptied");
    event.truncated = readFlag(object, "truncated");
    event.countersKnown = readFlag(object, "counters_known");
    readMessage(object, event);
    event.detail = readText(object, "detail");
    return {std::move(event), time};
}

} // namespace

WString historyPath() {
    return dataFolder() + W("\\history.log");
}

void appendHistory(const HistoryEvent &event) noexcept {
    try {
        const std::string line = formatHistoryRecord(event, _time64(nullptr)) + "\r\n";
        appendLine(historyPath(), line);
    } catch (...) {
        // The history never disturbs what it records.
    }
}

void appendHistoryMessage(const WString &text, const WString &detail) {
    HistoryEvent event;
    event.text = text;
    event.detail = detail;
    appendHistory(event);
}

std::string formatHistoryRecord(const HistoryEvent &event, std::int64_t time) {
    if (time < 1 || time > latestTime || event.text.size() > maximumUnits || event.detail.size() > maximumUnits)
        throw std::runtime_error("history bounds");
    const CatalogueKey *row = event.literalText ? nullptr : findCatalogueRow(event.text);
    const std::string_view key = row == nullptr ? std::string_view() : row->key;
    const std::string text = row == nullptr ? encodeUtf8Lossy(event.text) : std::string();
    const std::string detail = encodeUtf8Lossy(event.detail);
    const std::string object = formatObject(event, time, key, text, detail);
    if (object.size() > maximumObject)
        throw std::runtime_error("history bounds");
    return std::string(historyMarker) + object;
}

bool parseHistoryRecord(std::string_view line, HistoryEvent &event, std::int64_t &time) noexcept {
    // Lines of the older form are many, and an exception for each would take longer than all the rest.
    if (!line.starts_with(historyMarker) || line.size() > historyMarker.size() + maximumObject)
        return false;
    try {
        auto [readEvent, readTime] = readRecord(line);
        event = std::move(readEvent);
        time = readTime;
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace dm
