#include "data/encoding.h"

#include "platform/win32.h"

#include <climits>
#include <stdexcept>

namespace dm {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// What both lossy directions let through, so that what one of them gave passes the other unchanged.
char32_t filtered(char32_t value) {
    const bool control = (value < 0x20 && value != '\t' && value != '\n' && value != '\r') || value == 0x7F;
    return control ? replacement : value;
}

void appendUnits(char32_t value, WString &text) {
    if (value <= 0xFFFF) {
        text.push_back(static_cast<WChar>(value));
        return;
    }
    text.push_back(static_cast<WChar>(0xD800 + ((value - 0x10000) >> 10)));
    text.push_back(static_cast<WChar>(0xDC00 + ((value - 0x10000) & 0x3FF)));
}

void appendBytes(char32_t value, std::string &bytes) {
    const auto continuation = [value](unsigned shift) { return static_cast<char>(0x80 | ((value >> shift) & 0x3F)); };
    if (value < 0x80) {
        bytes.push_back(static_cast<char>(value));
    } else if (value < 0x800) {
        bytes.push_back(static_cast<char>(0xC0 | value >> 6));
        bytes.push_back(continuation(0));
    } else if (value <= 0xFFFF) {
        bytes.push_back(static_cast<char>(0xE0 | value >> 12));
        bytes.push_back(continuation(6));
        bytes.push_back(continuation(0));
    } else {
        bytes.push_back(static_cast<char>(0xF0 | value >> 18));
        bytes.push_back(continuation(12));
        bytes.push_back(continuation(6));
        bytes.push_back(continuation(0));
    }
}

/// The number of bytes in a sequence that this byte opens; 0 for one that opens none.
std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return 2;
    if (lead >= 0xE0 && lead <= 0xEF)
        return 3;
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

/// Reads the character at the start of the bytes, which are not empty; gives the number of bytes that it takes, or 0
/// where no good one starts.
std::size_t readCharacter(std::string_view bytes, char32_t &value) {
    constexpr char32_t leastOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(bytes[0]);
    const std::size_t length = sequenceLength(lead);
    if (length == 0 || bytes.size() < length)
        return 0;
    value = length == 1 ? lead : lead & (0x7FU >> length);
    for (const char following : bytes.substr(1, length - 1)) {
        if ((static_cast<unsigned char>(following) & 0xC0) != 0x80)
            return 0;
        value = value << 6 | (static_cast<unsigned char>(following) & 0x3F);
    }
    const bool surrogate = isHighSurrogate(value) || isLowSurrogate(value);
    return value < leastOfLength[length] || value > 0x10FFFF || surrogate ? 0 : length;
}

} // namespace

WString utf8ToWide(std::string_view bytes) {
    if (bytes.empty())
        return {};
    const int size = bytes.size() > INT_MAX ? 0 : static_cast<int>(bytes.size());
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
    if (units <= 0)
        throw std::runtime_error("invalid UTF-8");
    WString text(static_cast<std::size_t>(units), WChar{});
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(), units);
    return text;
}

std::string wideToUtf8(WStringView text) {
    if (text.empty())
        return {};
    const int units = text.size() > INT_MAX ? 0 : static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    if (size <= 0)
        throw std::runtime_error("text too long");
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

WString decodeUtf8Lossy(std::string_view bytes) {
    WString text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        char32_t value = 0;
        const std::size_t length = readCharacter(bytes, value);
        appendUnits(length == 0 ? replacement : filtered(value), text);
        // Of a damaged sequence only one byte goes, so that each of the others is looked at again.
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string encodeUtf8Lossy(WStringView text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        char32_t value = text[index];
        if (isHighSurrogate(value) && index + 1 < text.size() && isLowSurrogate(text[index + 1]))
            value = 0x10000 + ((value - 0xD800) << 10) + (static_cast<char32_t>(text[++index]) - 0xDC00);
        else if (isHighSurrogate(value) || isLowSurrogate(value))
            value = replacement;
        appendBytes(filtered(value), bytes);
    }
    return bytes;
}

WString normalizeLineBreaks(WStringView text) {
    WString normal;
    normal.reserve(text.size());
    WChar previous{};
    for (const WChar unit : text) {
        if (unit == W('\n') && previous != W('\r'))
            normal.push_back(W('\r'));
        normal.push_back(unit);
        previous = unit;
    }
    return normal;
}

} // namespace dm
