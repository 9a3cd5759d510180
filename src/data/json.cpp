#include "data/json.h"

#include <stdexcept>
#include <utility>

namespace dm {

namespace {

// The two caps bound memory and recursion for text that comes from a file or from the network.
constexpr std::size_t maximumBytes = 0x20000;
constexpr unsigned maximumDepth = 32;

[[noreturn]] void failInvalid() {
    throw std::runtime_error("invalid JSON");
}

bool atEnd(const JsonCursor &cursor) {
    return cursor.index >= cursor.text.size();
}

char currentByte(const JsonCursor &cursor) {
    if (atEnd(cursor))
        failInvalid();
    return cursor.text[cursor.index];
}

char takeByte(JsonCursor &cursor) {
    const char byte = currentByte(cursor);
    ++cursor.index;
    return byte;
}

bool takeIf(JsonCursor &cursor, char expected) {
    if (atEnd(cursor) || cursor.text[cursor.index] != expected)
        return false;
    ++cursor.index;
    return true;
}

bool isWhitespace(char byte) {
    return byte == '\t' || byte == '\n' || byte == '\r' || byte == ' ';
}

void skipWhitespace(JsonCursor &cursor) {
    while (!atEnd(cursor) && isWhitespace(cursor.text[cursor.index]))
        ++cursor.index;
}

// Written out because the C library's test depends on the locale.
bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

void skipDigits(JsonCursor &cursor) {
    while (!atEnd(cursor) && isDigit(cursor.text[cursor.index]))
        ++cursor.index;
}

void requireDigits(JsonCursor &cursor) {
    if (!isDigit(takeByte(cursor)))
        failInvalid();
    skipDigits(cursor);
}

void skipInteger(JsonCursor &cursor) {
    takeIf(cursor, '-');
    // What follows a leading zero is left to whoever reads on, as data that does not belong there.
    if (!takeIf(cursor, '0'))
        requireDigits(cursor);
}

JsonValue parseNumber(JsonCursor &cursor) {
    const std::size_t start = cursor.index;
    skipInteger(cursor);
    if (takeIf(cursor, '.'))
        requireDigits(cursor);
    if (takeIf(cursor, 'e') || takeIf(cursor, 'E')) {
        if (!takeIf(cursor, '+'))
            takeIf(cursor, '-');
        requireDigits(cursor);
    }
    JsonValue value;
    value.kind = JsonKind::Number;
    value.text = cursor.text.substr(start, cursor.index - start);
    return value;
}

unsigned hexDigit(char byte) {
    if (isDigit(byte))
        return static_cast<unsigned>(byte - '0');
    if (byte >= 'a' && byte <= 'f')
        return static_cast<unsigned>(byte - 'a' + 10);
    if (byte >= 'A' && byte <= 'F')
        return static_cast<unsigned>(byte - 'A' + 10);
    failInvalid();
}

char32_t parseCodeUnit(JsonCursor &cursor) {
    char32_t unit = 0;
    for (int digit = 0; digit < 4; ++digit)
        unit = unit * 16 + hexDigit(takeByte(cursor));
    return unit;
}

// Reads what stands behind "\u": one unit, or the two of a surrogate pair.
char32_t parseCodePoint(JsonCursor &cursor) {
    const char32_t unit = parseCodeUnit(cursor);
    if (unit >= 0xDC00 && unit <= 0xDFFF)
        failInvalid();
    if (unit < 0xD800 || unit > 0xDBFF)
        return unit;
    if (takeByte(cursor) != '\\' || takeByte(cursor) != 'u')
        failInvalid();
    const char32_t low = parseCodeUnit(cursor);
    if (low < 0xDC00 || low > 0xDFFF)
        failInvalid();
    return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

void appendUtf8(char32_t point, std::string &bytes) {
    const auto append = [&bytes](char32_t byte) { bytes.push_back(static_cast<char>(byte)); };
    const auto appendTrail = [&](int shift) { append(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        append(point);
    } else if (point < 0x800) {
        append(0xC0 | (point >> 6));
        appendTrail(0);
    } else if (point < 0x10000) {
        append(0xE0 | (point >> 12));
        appendTrail(6);
        appendTrail(0);
    } else {
        append(0xF0 | (point >> 18));
        appendTrail(12);
        appendTrail(6);
        appendTrail(0);
    }
}

/// True for what stands in a string as it is.
bool isPlain(char byte) {
    return static_cast<unsigned char>(byte) >= 0x20 && byte != '"' && byte != '\\';
}

std::string_view takePlain(JsonCursor &cursor) {
    const std::size_t start = cursor.index;
    while (!atEnd(cursor) && isPlain(cursor.text[cursor.index]))
        ++cursor.index;
    return cursor.text.substr(start, cursor.index - start);
}

void parseEscape(JsonCursor &cursor, std::string &bytes) {
    const char escape = takeByte(cursor);
    switch (escape) {
    case '"':
    case '\\':
    case '/':
        bytes.push_back(escape);
        break;
    case 'b':
        bytes.push_back('\b');
        break;
    case 'f':
        bytes.push_back('\f');
        break;
    case 'n':
        bytes.push_back('\n');
        break;
    case 'r':
        bytes.push_back('\r');
        break;
    case 't':
        bytes.push_back('\t');
        break;
    case 'u':
        appendUtf8(parseCodePoint(cursor), bytes);
        break;
    default:
        failInvalid();
    }
}

JsonValue parseText(JsonCursor &cursor) {
    JsonValue value;
    value.kind = JsonKind::String;
    value.text = parseJsonString(cursor);
    return value;
}

JsonValue parseLiteral(JsonCursor &cursor, std::string_view literal, JsonKind kind, bool boolean) {
    if (cursor.text.substr(cursor.index, literal.size()) != literal)
        failInvalid();
    cursor.index += literal.size();
    JsonValue value;
    value.kind = kind;
    value.boolean = boolean;
    return value;
}

void parseMember(JsonCursor &cursor, unsigned depth, JsonValue &object) {
    skipWhitespace(cursor);
    std::string key = parseJsonString(cursor);
    skipWhitespace(cursor);
    if (takeByte(cursor) != ':')
        failInvalid();
    JsonValue member = parseJsonValue(cursor, depth + 1);
    // Neither the first nor the last of two members wins: readers that disagree on that can be played off.
    if (!object.object.try_emplace(std::move(key), std::move(member)).second)
        failInvalid();
}

JsonValue parseContainer(JsonCursor &cursor, unsigned depth) {
    JsonValue value;
    value.kind = takeByte(cursor) == '{' ? JsonKind::Object : JsonKind::Array;
    const char closing = value.kind == JsonKind::Object ? '}' : ']';
    skipWhitespace(cursor);
    if (takeIf(cursor, closing))
        return value;
    for (;;) {
        if (value.kind == JsonKind::Object)
            parseMember(cursor, depth, value);
        else
            value.array.push_back(parseJsonValue(cursor, depth + 1));
        skipWhitespace(cursor);
        const char separator = takeByte(cursor);
        if (separator == closing)
            return value;
        if (separator != ',')
            failInvalid();
    }
}

const JsonValue *findMember(const JsonValue &value, std::string_view key) {
    if (value.kind != JsonKind::Object)
        return nullptr;
    const auto found = value.object.find(key);
    return found == value.object.end() ? nullptr : &found->second;
}

} // namespace

JsonValue &JsonValue::operator=(JsonValue other) noexcept {
    std::swap(kind, other.kind);
    std::swap(boolean, other.boolean);
    text.swap(other.text);
    object.swap(other.object);
    array.swap(other.array);
    return *this;
}

JsonValue parseJson(std::string_view text) {
    if (text.size() > maximumBytes)
        throw std::runtime_error("JSON too large");
    JsonCursor cursor{text};
    JsonValue value = parseJsonValue(cursor, 0);
    skipWhitespace(cursor);
    if (!atEnd(cursor))
        throw std::runtime_error("JSON trailing data");
    return value;
}

JsonValue parseJsonValue(JsonCursor &cursor, unsigned depth) {
    if (depth > maximumDepth)
        failInvalid();
    skipWhitespace(cursor);
    switch (currentByte(cursor)) {
    case '"':
        return parseText(cursor);
    case '{':
    case '[':
        return parseContainer(cursor, depth);
    case 't':
        return parseLiteral(cursor, "true", JsonKind::Boolean, true);
    case 'f':
        return parseLiteral(cursor, "false", JsonKind::Boolean, false);
    case 'n':
        return parseLiteral(cursor, "null", JsonKind::Null, false);
    default:
        return parseNumber(cursor);
    }
}

std::string parseJsonString(JsonCursor &cursor) {
    if (takeByte(cursor) != '"')
        failInvalid();
    std::string bytes;
    for (;;) {
        bytes += takePlain(cursor);
        const char byte = takeByte(cursor);
        if (byte == '"')
            return bytes;
        if (byte != '\\')
            failInvalid();
        parseEscape(cursor, bytes);
    }
}

const JsonValue &jsonField(const JsonValue &object, std::string_view key) {
    const JsonValue *member = findMember(object, key);
    if (member == nullptr)
        throw std::runtime_error("missing JSON field");
    return *member;
}

std::string jsonString(const JsonValue &value) {
    if (value.kind != JsonKind::String)
        throw std::runtime_error("JSON string expected");
    return value.text;
}

std::int64_t jsonInteger(const JsonValue &value) {
    if (value.kind != JsonKind::Number || value.text.find_first_of(".eE") != std::string::npos)
        throw std::runtime_error("JSON integer expected");
    std::size_t consumed = 0;
    const long long integer = std::stoll(value.text, &consumed);
    if (consumed != value.text.size())
        throw std::runtime_error("JSON integer");
    return integer;
}

bool jsonBoolOr(const JsonValue &object, std::string_view key, bool fallback) {
    const JsonValue *member = findMember(object, key);
    return member != nullptr && member->kind == JsonKind::Boolean ? member->boolean : fallback;
}

std::string jsonStringOr(const JsonValue &object, std::string_view key, std::string_view fallback) {
    const JsonValue *member = findMember(object, key);
    return member != nullptr && member->kind == JsonKind::String ? member->text : std::string(fallback);
}

std::string jsonQuote(std::string_view text) {
    constexpr std::string_view hexDigits = "0123456789abcdef";
    std::string quoted = "\"";
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '\t')
            quoted += "\\t";
        else if (byte == '\n')
            quoted += "\\n";
        else if (byte == '\r')
            quoted += "\\r";
        else if (byte == '"' || byte == '\\')
            quoted.append({'\\', byte});
        else if (value < 0x20)
            quoted.append({'\\', 'u', '0', '0', hexDigits[value >> 4], hexDigits[value & 0xF]});
        else
            quoted.push_back(byte);
    }
    quoted.push_back('"');
    return quoted;
}

} // namespace dm
