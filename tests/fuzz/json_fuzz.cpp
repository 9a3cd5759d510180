// Any bytes as a document: the reader either refuses them with a message of its own or gives a value that survives
// being written and read again.
#include "data/json.h"
#include "require.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace dm;

namespace {

constexpr std::size_t documentLimit = 131072;

void requireQuotedTextToReadBack(std::string_view text) {
    const std::string quoted = jsonQuote(text);
    if (quoted.size() <= documentLimit)
        require(jsonString(parseJson(quoted)) == text, "quoted text reads back to the same bytes");
}

void requireIntegerToBeExact(const JsonValue &value) {
    try {
        require(std::to_string(jsonInteger(value)) == value.text || value.text == "-0", "integers are exact");
    } catch (const std::out_of_range &error) {
        require(error.what() == std::string_view("stoll") && value.text.size() >= 19, "only large integers overflow");
    } catch (const std::runtime_error &error) {
        require(error.what() == std::string_view("JSON integer expected") &&
                    value.text.find_first_of(".eE") != std::string::npos,
                "only fractions and exponents are no integers");
    }
}

/// Writes the value as a document and checks each text and number on the way.
std::string written(const JsonValue &value) {
    switch (value.kind) {
    case JsonKind::Null:
        return "null";
    case JsonKind::Boolean:
        return value.boolean ? "true" : "false";
    case JsonKind::Number:
        requireIntegerToBeExact(value);
        return value.text;
    case JsonKind::String:
        requireQuotedTextToReadBack(value.text);
        return jsonQuote(value.text);
    case JsonKind::Object: {
        std::string members;
        for (const auto &[key, member] : value.object)
            members += (members.empty() ? "" : ",") + jsonQuote(key) + ":" + written(member);
        return "{" + members + "}";
    }
    case JsonKind::Array: {
        std::string elements;
        for (const JsonValue &element : value.array)
            elements += (elements.empty() ? "" : ",") + written(element);
        return "[" + elements + "]";
    }
    }
    std::abort();
}

bool equal(const JsonValue &left, const JsonValue &right) {
    const auto equalMember = [](const auto &one, const auto &other) {
        return one.first == other.first && equal(one.second, other.second);
    };
    return left.kind == right.kind && left.boolean == right.boolean && left.text == right.text &&
           std::equal(left.object.begin(), left.object.end(), right.object.begin(), right.object.end(), equalMember) &&
           std::equal(left.array.begin(), left.array.end(), right.array.begin(), right.array.end(), equal);
}

void requireValueToSurvive(const JsonValue &value) {
    const std::string document = written(value);
    if (document.size() <= documentLimit)
        require(equal(parseJson(document), value), "a value that is written and read again is the same");
}

bool isOwnMessage(std::string_view message) {
    return message == "JSON too large" || message == "JSON trailing data" || message == "invalid JSON";
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name that libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    requireQuotedTextToReadBack(text);
    JsonValue value;
    try {
        value = parseJson(text);
    } catch (const std::runtime_error &error) {
        require(isOwnMessage(error.what()), "a refusal carries a message of the reader");
        return 0;
    }
    requireValueToSurvive(value);
    return 0;
}
