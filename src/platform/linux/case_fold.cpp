// Case by UTF-16 unit: fixed, whatever the locale, and never longer or shorter than what was folded. Half of a
// surrogate pair has no case.
#include "platform/linux/case_table.h"
#include "platform/linux/win32_base.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr WCHAR asciiEnd = 0x80;

/// The unit's mapping, or the unit itself.
WCHAR mapped(std::span<const dm::platform::CaseRun> runs, WCHAR unit) {
    const auto run = std::lower_bound(runs.begin(), runs.end(), unit,
                                      [](const auto &candidate, WCHAR sought) { return candidate.last < sought; });
    const bool isInRun = run != runs.end() && unit >= run->first && (unit - run->first) % run->step == 0;
    return isInRun ? static_cast<WCHAR>(unit + run->delta) : unit;
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
    return mapped(dm::platform::toLowerRuns, unit);
}

WCHAR towupper(WCHAR unit) {
    if (unit < asciiEnd)
        return unit >= u'a' && unit <= u'z' ? static_cast<WCHAR>(unit - (u'a' - u'A')) : unit;
    return mapped(dm::platform::toUpperRuns, unit);
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
