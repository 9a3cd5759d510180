#include "platform/linux/names.h"

#include "platform/linux/utf8.h"

#include <algorithm>
#include <array>

namespace dm::platform {

namespace {

constexpr char16_t refusedBase = 0xF000;
constexpr char16_t strayBase = 0xDC00;

/// ASCII that stands for itself wherever it is. A blank and a full stop do so only before the end.
constexpr std::array<bool, 256> plainBytes = [] {
    std::array<bool, 256> plain{};
    for (std::size_t byte = 33; byte < 128; ++byte)
        plain[byte] = true;
    for (unsigned char refused : std::string_view("\\/:*?\"<>|."))
        plain[refused] = false;
    return plain;
}();

bool isPlain(char byte) {
    return plainBytes[static_cast<unsigned char>(byte)];
}

bool equalsIgnoringAsciiCase(std::string_view text, std::string_view upperCase) {
    return std::equal(text.begin(), text.end(), upperCase.begin(), upperCase.end(), [](char left, char right) {
        return (left >= 'a' && left <= 'z' ? static_cast<char>(left - 'a' + 'A') : left) == right;
    });
}

/// Names that a Windows program cannot tell from a device, whatever follows their first full stop.
bool isDeviceName(std::string_view name) {
    switch (name.front() | 0x20) {
    case 'c':
    case 'p':
    case 'a':
    case 'n':
    case 'l':
        break;
    default:
        return false;
    }
    const std::string_view base = name.substr(0, name.find('.'));
    for (std::string_view device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$", "CLOCK$"})
        if (equalsIgnoringAsciiCase(base, device))
            return true;
    if (base.size() < 4 ||
        (!equalsIgnoringAsciiCase(base.substr(0, 3), "COM") && !equalsIgnoringAsciiCase(base.substr(0, 3), "LPT")))
        return false;
    const std::string_view number = base.substr(3);
    const bool isDigit = number.size() == 1 && number.front() >= '0' && number.front() <= '9';
    return isDigit || number == "\u00B9" || number == "\u00B2" || number == "\u00B3";
}

/// Calls `put` with each unit of the program's form, never more often than the name has bytes.
template <typename Put>
void forEachUnit(std::string_view name, Put put) {
    const auto putRefused = [&put](char byte) { put(static_cast<char16_t>(refusedBase + byte)); };
    std::size_t at = 0;
    if (isDeviceName(name))
        putRefused(name[at++]);
    while (at < name.size()) {
        const char byte = name[at];
        if (isPlain(byte) || ((byte == ' ' || byte == '.') && at + 1 < name.size())) {
            put(static_cast<char16_t>(byte));
            ++at;
            continue;
        }
        if (static_cast<unsigned char>(byte) < 0x80) {
            putRefused(byte);
            ++at;
            continue;
        }
        char32_t value = 0;
        const std::size_t length = decodeUtf8(name, at, value);
        const bool looksRefused = value >= refusedBase && value <= refusedBase + 0xFF;
        if (length == 0 || looksRefused) {
            const std::size_t end = at + std::max<std::size_t>(length, 1);
            for (; at < end; ++at)
                put(static_cast<char16_t>(strayBase + static_cast<unsigned char>(name[at])));
            continue;
        }
        if (value > 0xFFFF) {
            put(highSurrogateOf(value));
            put(lowSurrogateOf(value));
        } else {
            put(static_cast<char16_t>(value));
        }
        at += length;
    }
}

/// The bytes that the units would stand for, whether or not they are the right way to write them. False where some
/// unit stands for none.
bool appendBytes(WStringView wide, std::string &bytes) {
    for (std::size_t at = 0; at < wide.size(); ++at) {
        const char16_t unit = wide[at];
        if (unit < 0x80) {
            bytes.push_back(static_cast<char>(unit));
        } else if (unit >= refusedBase && unit <= refusedBase + 0x7F) {
            bytes.push_back(static_cast<char>(unit - refusedBase));
        } else if (isHighSurrogate(unit)) {
            if (at + 1 == wide.size() || !isLowSurrogate(wide[at + 1]))
                return false;
            appendUtf8(joinSurrogates(unit, wide[++at]), bytes);
        } else if (isLowSurrogate(unit)) {
            if (unit < strayBase + 0x80 || unit > strayBase + 0xFF)
                return false;
            bytes.push_back(static_cast<char>(unit - strayBase));
        } else {
            appendUtf8(unit, bytes);
        }
    }
    return true;
}

bool isComponent(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos && name.find('\0') == name.npos;
}

bool mapsTo(std::string_view name, WStringView wide) {
    std::size_t count = 0;
    bool same = true;
    forEachUnit(name, [&](char16_t unit) {
        same = same && count < wide.size() && wide[count] == unit;
        ++count;
    });
    return same && count == wide.size();
}

} // namespace

void appendWideName(std::string_view name, WString &wide) {
    std::size_t end = wide.size();
    wide.resize(end + name.size());
    forEachUnit(name, [&](char16_t unit) { wide[end++] = unit; });
    wide.resize(end);
}

bool linuxName(WStringView wide, std::string &name) {
    name.clear();
    if (appendBytes(wide, name) && isComponent(name) && mapsTo(name, wide))
        return true;
    name.clear();
    return false;
}

} // namespace dm::platform
