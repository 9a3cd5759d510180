// The strict JSON reader and the string quoter. All texts are UTF-8 byte strings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace dm {

enum class JsonKind : std::int32_t { Null, Boolean, Number, String, Object, Array };

/// One value with all that lies below it. A number stays the text that it was read from.
struct JsonValue {
    JsonKind kind = JsonKind::Null;
    bool boolean = false;
    std::string text; ///< decoded bytes of a string, the exact source text of a number
    std::map<std::string, JsonValue, std::less<>> object;
    std::vector<JsonValue> array; ///< in document order

    JsonValue() = default;
    JsonValue(const JsonValue &) = default;
    JsonValue(JsonValue &&) = default;
    /// By value, so that a part of a value can be assigned to the very value that holds it.
    JsonValue &operator=(JsonValue other) noexcept;
};

/// Reads a document of at most 131,072 bytes. Throws std::runtime_error with "JSON too large", "JSON trailing data" or
/// "invalid JSON".
JsonValue parseJson(std::string_view text);

/// A text and how far it has been read.
struct JsonCursor {
    std::string_view text;
    std::size_t index = 0;
};

/// Reads one value; the outermost one stands at depth 0 and none may stand deeper than 32. Throws "invalid JSON".
JsonValue parseJsonValue(JsonCursor &cursor, unsigned depth);
/// Reads one string, quotation marks included, into its decoded bytes. Throws "invalid JSON".
std::string parseJsonString(JsonCursor &cursor);

/// The member of an object; lives as long as the object. Throws "missing JSON field".
const JsonValue &jsonField(const JsonValue &object, std::string_view key);
/// The text of a string. Throws "JSON string expected".
std::string jsonString(const JsonValue &value);
/// The value of a number written without fraction and exponent. Throws std::runtime_error "JSON integer expected" for
/// any other value, std::out_of_range with "stoll" for a number that 64 bits cannot hold and, where the text of the
/// value was not read by parseJson, std::invalid_argument with "stoll" or std::runtime_error "JSON integer".
std::int64_t jsonInteger(const JsonValue &value);
/// The member if there is one of that kind, otherwise the fallback; never throws for what the value holds.
bool jsonBoolOr(const JsonValue &object, std::string_view key, bool fallback);
std::string jsonStringOr(const JsonValue &object, std::string_view key, std::string_view fallback);

/// The text as a JSON string in quotation marks. Whatever bytes it holds, parseJson reads them back.
std::string jsonQuote(std::string_view text);

} // namespace dm
