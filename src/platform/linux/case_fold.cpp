// Case by UTF-16 unit: fixed, whatever the locale, and never longer or shorter than what was folded. Half of a
// surrogate pair has no case.
#include "platform/linux/win32_base.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

constexpr WCHAR asciiEnd = 0x80;

/// The mapping where it stays one unit, otherwise the unit itself.
WCHAR unitOr(UChar32 mapped, WCHAR unit) {
    return mapped <= 0xFFFF ? static_cast<WCHAR>(mapped) : unit;
}

bool viewOf(LPCWSTR text, int length, std::u16string_view &view) {
    if (text == nullptr || length < -1)
        return false;
    view = length == -1 ? std::u16string_view(text) : std::u16string_view(text, static_cast<std::size_t>(length));
    return true;
}

bool isSameFolded(WCHAR left, WCHAR right) {
    return left == right || towupper(left) == towupper(right);
}

} // namespace

WCHAR towlower(WCHAR unit) {
    if (unit < asciiEnd)
        return unit >= u'A' && unit <= u'Z' ? static_cast<WCHAR>(unit + (u'a' - u'A')) : unit;
    return unitOr(u_tolower(unit), unit);
}

WCHAR towupper(WCHAR unit) {
    if (unit < asciiEnd)
        return unit >= u'a' && unit <= u'z' ? static_cast<WCHAR>(unit - (u'a' - u'A')) : unit;
    // Unicode maps the long s to S and the dotless i to I, the published table of file names maps both to themselves:
    // no name in another script may pass for one in plain letters.
    const WCHAR upper = unitOr(u_toupper(unit), unit);
    return upper < asciiEnd ? unit : upper;
}

int WINAPI CompareStringOrdinal(LPCWSTR left, int leftLength, LPCWSTR right, int rightLength, BOOL ignoreCase) {
    std::u16string_view leftView;
    std::u16string_view rightView;
    if (!viewOf(left, leftLength, leftView) || !viewOf(right, rightLength, rightView)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const auto [leftAt, rightAt] =
        ignoreCase ? std::mismatch(leftView.begin(), leftView.end(), rightView.begin(), rightView.end(), isSameFolded)
                   : std::mismatch(leftView.begin(), leftView.end(), rightView.begin(), rightView.end());
    if (rightAt == rightView.end())
        return leftAt == leftView.end() ? CSTR_EQUAL : CSTR_GREATER_THAN;
    if (leftAt == leftView.end())
        return CSTR_LESS_THAN;
    const bool isLess = ignoreCase ? towupper(*leftAt) < towupper(*rightAt) : *leftAt < *rightAt;
    return isLess ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
}

int _wcsicmp(const WCHAR *left, const WCHAR *right) {
    while (*left != 0 && towlower(*left) == towlower(*right)) {
        ++left;
        ++right;
    }
    return towlower(*left) - towlower(*right);
}
