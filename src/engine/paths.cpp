#include "engine/paths.h"

#include "platform/win32.h"

#include <algorithm>

namespace dm {

namespace {

constexpr WStringView extendedPrefix = W("\\\\?\\");
constexpr std::size_t driveRootLength = 3;

WStringView withoutExtendedPrefix(WStringView path) {
    return path.starts_with(extendedPrefix) ? path.substr(extendedPrefix.size()) : path;
}

bool startsWithDriveRoot(WStringView path) {
    const WChar letter = path[0];
    const bool isLetter = (letter >= W('A') && letter <= W('Z')) || (letter >= W('a') && letter <= W('z'));
    return isLetter && path[1] == W(':') && path[2] == W('\\');
}

bool isRefusedUnit(WChar unit) {
    switch (unit) {
    case W(':'):
    case W('*'):
    case W('?'):
    case W('"'):
    case W('<'):
    case W('>'):
    case W('|'):
        return true;
    default:
        return unit < 32;
    }
}

// An empty segment ends in the backslash before it, and "." and ".." end in a full stop.
bool mayEndSegment(WChar unit) {
    return unit != W('\\') && unit != W(' ') && unit != W('.');
}

// One look at each unit: this runs several times for every file of a walk.
bool hasPlainSegments(WStringView segments) {
    WChar previous = W('\\');
    for (const WChar unit : segments) {
        if (isRefusedUnit(unit) || (unit == W('\\') && !mayEndSegment(previous)))
            return false;
        previous = unit;
    }
    return mayEndSegment(previous);
}

bool equalOrdinal(WStringView left, WStringView right) {
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

bool equalFolded(WStringView left, WStringView right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](WChar one, WChar other) { return towlower(one) == towlower(other); });
}

} // namespace

WString stripExtendedPrefix(WStringView path) {
    return WString(withoutExtendedPrefix(path));
}

WString toExtendedPath(WStringView path) {
    WString extended;
    extended.reserve(extendedPrefix.size() + path.size());
    if (!path.starts_with(extendedPrefix))
        extended = extendedPrefix;
    return extended += path;
}

bool normalizePath(WStringView path, WString &normalized) {
    normalized = withoutExtendedPrefix(path);
    std::replace(normalized.begin(), normalized.end(), W('/'), W('\\'));
    if (normalized.size() < driveRootLength || !startsWithDriveRoot(normalized))
        return false;
    while (normalized.size() > driveRootLength && normalized.back() == W('\\'))
        normalized.pop_back();
    return normalized.size() == driveRootLength || hasPlainSegments(WStringView(normalized).substr(driveRootLength));
}

bool samePath(WStringView left, WStringView right) {
    WString normalLeft;
    WString normalRight;
    return normalizePath(left, normalLeft) && normalizePath(right, normalRight) &&
           equalOrdinal(normalLeft, normalRight);
}

bool isPathInside(WStringView child, WStringView parent) {
    WString normalChild;
    WString normalParent;
    if (!normalizePath(child, normalChild) || !normalizePath(parent, normalParent))
        return false;
    if (normalChild.size() <= normalParent.size())
        return false;
    if (!equalOrdinal(WStringView(normalChild).substr(0, normalParent.size()), normalParent))
        return false;
    // A drive's root ends in a backslash already.
    return normalParent.size() == driveRootLength || normalChild[normalParent.size()] == W('\\');
}

bool isPathInsideFolded(WStringView child, WStringView parent) noexcept {
    try {
        WString normalChild;
        WString normalParent;
        if (!normalizePath(child, normalChild) || !normalizePath(parent, normalParent))
            return false;
        if (normalChild.size() <= normalParent.size())
            return false;
        if (!equalFolded(WStringView(normalChild).substr(0, normalParent.size()), normalParent))
            return false;
        return normalParent.size() == driveRootLength || normalChild[normalParent.size()] == W('\\');
    } catch (...) {
        return false;
    }
}

bool equalsIgnoreCase(WStringView left, WStringView right) {
    return equalFolded(left, right);
}

} // namespace dm
