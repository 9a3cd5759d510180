#include "windows/path_text.h"

#include "platform/places.h"

namespace dm {
namespace {

constexpr WChar replacement = 0xFFFD;
constexpr WChar leftToRightMark = 0x200E;

bool isHigh(WChar unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLow(WChar unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// Marks, embeddings, overrides and isolates of the bidirectional algorithm.
bool reorders(WChar unit) {
    return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
           (unit >= 0x2066 && unit <= 0x2069);
}

bool separatesLines(WChar unit) {
    return (unit >= 0x80 && unit <= 0x9F) || unit == 0x2028 || unit == 0x2029;
}

WChar standInFor(WChar unit) {
    constexpr WChar pictures = 0x2400; // one for each control character
    constexpr WChar pictureOfDelete = 0x2421;
    if (unit < 0x20)
        return static_cast<WChar>(pictures + unit);
    if (unit == 0x7F)
        return pictureOfDelete;
    return reorders(unit) || separatesLines(unit) ? replacement : unit;
}

} // namespace

WString harmlessText(WString text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (isHigh(text[at]) && at + 1 < text.size() && isLow(text[at + 1]))
            ++at;
        else
            text[at] = isHigh(text[at]) || isLow(text[at]) ? replacement : standInFor(text[at]);
    }
    return text;
}

WString pathLabel(const WString &path) {
    return harmlessText(shownPath(path));
}

WString pathCell(const WString &path) {
    return leftToRightMark + pathLabel(path);
}

WString pathForField(const WString &path) {
    // A name that cannot be typed as it is shown stands in the program's own form, which is taken too.
    WString label = pathLabel(path);
    return typedPath(label) == path ? label : path;
}

} // namespace dm
