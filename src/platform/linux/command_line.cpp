#include "platform/linux/command_line.h"

#include "platform/linux/utf8.h"

#include <string_view>

namespace dm::platform {

namespace {

WString wideOf(std::string_view bytes) {
    WString wide;
    for (std::size_t at = 0; at < bytes.size();) {
        char32_t point = 0;
        const std::size_t length = decodeUtf8(bytes, at, point);
        if (length == 0)
            wide.push_back(static_cast<WChar>(0xDC00 + static_cast<unsigned char>(bytes[at])));
        else if (point < 0x10000)
            wide.push_back(static_cast<WChar>(point));
        else
            wide.append({highSurrogateOf(point), lowSurrogateOf(point)});
        at += length == 0 ? 1 : length;
    }
    return wide;
}

// Backslashes stand for themselves, except before a quotation mark: there each one has to be doubled.
void appendQuoted(WStringView argument, WString &line) {
    line.push_back(W('"'));
    std::size_t backslashes = 0;
    for (const WChar unit : argument) {
        if (unit == W('"'))
            line.append(backslashes + 1, W('\\'));
        backslashes = unit == W('\\') ? backslashes + 1 : 0;
        line.push_back(unit);
    }
    line.append(backslashes, W('\\'));
    line.push_back(W('"'));
}

} // namespace

WString commandLineOf(std::span<const char *const> arguments) {
    WString line;
    for (const char *argument : arguments) {
        if (!line.empty())
            line.push_back(W(' '));
        const WString wide = wideOf(argument);
        if (wide.empty() || wide.find_first_of(W(" \t\n\v\"")) != WString::npos)
            appendQuoted(wide, line);
        else
            line += wide;
    }
    return line;
}

} // namespace dm::platform
