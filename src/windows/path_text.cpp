#include "windows/path_text.h"

#include "platform/places.h"

#include <algorithm>

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

/// A letter of a script written from right to left, or the first unit of one.
bool isRightToLeft(WChar unit) {
    return (unit >= 0x0590 && unit <= 0x08FF) || (unit >= 0xFB1D && unit <= 0xFDFF) ||
           (unit >= 0xFE70 && unit <= 0xFEFF) || unit == 0xD802 || unit == 0xD803 || unit == 0xD83A || unit == 0xD83B;
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

/// A path on one line, to be read.
WString pathLabel(const WString &path) {
    return harmlessText(shownPath(path));
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

WString pathCell(const WString &path) {
    WString cell;
    cell += leftToRightMark;
    const WString label = pathLabel(path);
    const bool isMixed = std::any_of(label.begin(), label.end(), isRightToLeft);
    for (const WChar unit : label) {
        cell += unit;
        // Or two folders with such names would stand the wrong way round.
        if (isMixed && (unit == W('/') || unit == W('\\')))
            cell += leftToRightMark;
    }
    return cell;
}

WString pathForField(const WString &path) {
    // A name that cannot be typed as it is shown stands in the program's own form, which is taken too.
    WString label = pathLabel(path);
    return typedPath(label) == path ? label : path;
}

} // namespace dm
