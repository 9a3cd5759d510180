// Strict UTF-8, one character at a time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace dm::platform {

/// Decodes the character that starts at `at`. Gives the number of its bytes, or 0 where no valid character starts:
/// stray or missing continuation bytes, overlong forms, surrogates and values above U+10FFFF.
inline std::size_t decodeUtf8(std::string_view bytes, std::size_t at, char32_t &value) {
    const auto byteAt = [bytes](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
    const unsigned char lead = byteAt(at);
    if (lead < 0x80) {
        value = lead;
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (bytes.size() - at < length)
        return 0;
    value = lead & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        if ((byteAt(at + index) & 0xC0) != 0x80)
            return 0;
        value = value << 6 | (byteAt(at + index) & 0x3FU);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return overlong || surrogate || value > 0x10FFFF ? 0 : length;
}

/// Appends a character that is no surrogate and not above U+10FFFF.
inline void appendUtf8(char32_t value, std::string &bytes) {
    if (value < 0x80) {
        bytes.push_back(static_cast<char>(value));
        return;
    }
    if (value < 0x800) {
        bytes.push_back(static_cast<char>(0xC0 | value >> 6));
    } else {
        if (value < 0x10000) {
            bytes.push_back(static_cast<char>(0xE0 | value >> 12));
        } else {
            bytes.push_back(static_cast<char>(0xF0 | value >> 18));
            bytes.push_back(static_cast<char>(0x80 | (value >> 12 & 0x3F)));
        }
        bytes.push_back(static_cast<char>(0x80 | (value >> 6 & 0x3F)));
    }
    bytes.push_back(static_cast<char>(0x80 | (value & 0x3F)));
}

inline bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
inline bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The character of a surrogate pair, and the pair of a character above U+FFFF.
inline char32_t joinSurrogates(char16_t high, char16_t low) {
    return 0x10000 + ((static_cast<char32_t>(high) - 0xD800) << 10) + (low - 0xDC00);
}
inline char16_t highSurrogateOf(char32_t value) {
    return static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10));
}
inline char16_t lowSurrogateOf(char32_t value) {
    return static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF));
}

} // namespace dm::platform
