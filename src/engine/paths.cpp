#include "engine/paths.h"

#include "platform/win32.h"

#include <algorithm>
#include <array>

namespace dm {

namespace {

constexpr WStringView extendedPrefix = W("\\\\?\\");
constexpr std::size_t driveRootLength = 3;

bool startsWithDriveRoot(WStringView path) {
    const WChar letter = path[0];
    const bool isLetter = (letter >= W('A') && letter <= W('Z')) || (letter >= W('a') && letter <= W('z'));
    return isLetter && path[1] == W(':') && path[2] == W('\\');
}

// What a unit means inside a segment.
enum Meaning : unsigned char {
    Plain,
    EndsBadly, // a blank or a full stop: no segment ends in it
    Separator,
    Refused,
};

// Every unit of a path is looked up here, for each file of a walk.
constexpr std::array<Meaning, 128> meanings = [] {
    std::array<Meaning, 128> table{};
    for (std::size_t unit = 0; unit < 32; ++unit)
        table[unit] = Refused;
    for (const WChar unit : WStringView(W(":*?\"<>|")))
        table[unit] = Refused;
    table[W('\\')] = Separator;
    table[W(' ')] = table[W('.')] = EndsBadly;
    return table;
}();

bool equalOrdinal(WStringView left, WStringView right) {
    if (std::equal(left.begin(), left.end(), right.begin(), right.end()))
        return true;
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

bool equalFolded(WStringView left, WStringView right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](WChar one, WChar other) { return towlower(one) == towlower(other); });
}

} // namespace

WString stripExtendedPrefix(WStringView path) {
    return WString(path.starts_with(extendedPrefix) ? path.substr(extendedPrefix.size()) : path);
}

WString toExtendedPath(WStringView path) {
    WString extended;
    extended.reserve(extendedPrefix.size() + path.size());
    if (!path.starts_with(extendedPrefix))
        extended = extendedPrefix;
    return extended += path;
}

bool hasPlainSegments(WStringView segments) {
    // An empty segment ends in the backslash before it, and "." and ".." end in a full stop.
    Meaning previous = Separator;
    for (const WChar unit : segments) {
        const Meaning meaning = unit < meanings.size() ? meanings[unit] : Plain;
        if (meaning == Refused || (meaning == Separator && previous != Plain))
            return false;
        previous = meaning;
    }
    return previous == Plain;
}

bool normalizeInPlace(WString &path) {
    if (path.starts_with(extendedPrefix))
        path.erase(0, extendedPrefix.size());
    for (WChar &unit : path)
        unit = unit == W('/') ? W('\\') : unit;
    if (path.size() < driveRootLength || !startsWithDriveRoot(path))
        return false;
    while (path.size() > driveRootLength && path.back() == W('\\'))
        path.pop_back();
    return path.size() == driveRootLength || hasPlainSegments(WStringView(path).substr(driveRootLength));
}

bool normalizePath(WStringView path, WString &normalized) {
    normalized = path;
    return normalizeInPlace(normalized);
}

bool samePath(WStringView left, WStringView right) {
    WString normalLeft;
    WString normalRight;
    return normalizePath(left, normalLeft) && normalizePath(right, normalRight) &&
           equalOrdinal(normalLeft, normalRight);
}

bool isNormalPathInside(WStringView child, WStringView parent) {
    if (child.size() <= parent.size() || !equalOrdinal(child.substr(0, parent.size()), parent))
        return false;
    // A drive's root ends in a backslash already.
    return parent.size() == driveRootLength || child[parent.size()] == W('\\');
}

bool isPathInside(WStringView child, WStringView parent) {
    WString normalChild;
    WString normalParent;
    return normalizePath(child, normalChild) && normalizePath(parent, normalParent) &&
           isNormalPathInside(normalChild, normalParent);
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
