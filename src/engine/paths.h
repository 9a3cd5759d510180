// The gate for every path that the engine trusts, and the tests that stand on it. Pure text work: no disk is touched.
#pragma once

#include "platform/text.h"

namespace dm {

/// The path without a leading "\\?\".
WString stripExtendedPrefix(WStringView path);
/// The path with "\\?\" in front, once; for the file functions of the platform only.
WString toExtendedPath(WStringView path);

/// Takes an absolute path on a drive letter whose segments can only mean what they say, and gives it without the
/// extended-length prefix, with backslashes, and with one at the end only for a drive's root. Nothing is resolved: a
/// path with "." or ".." is refused. False for a refused path; the output then is not to be used.
bool normalizePath(WStringView path, WString &normalized);

/// The same with the path itself as the output.
bool normalizeInPlace(WString &path);

/// The part of a path below its drive's root has no segment that is empty, "." or "..", none that ends in a blank or a
/// full stop, and no unit that is below 32 or one of :*?"<>|.
bool hasPlainSegments(WStringView segments);

/// Both paths pass normalizePath and are equal ignoring case.
bool samePath(WStringView left, WStringView right);
/// Both paths pass normalizePath and the child lies strictly below the parent, ignoring case.
bool isPathInside(WStringView child, WStringView parent);
/// The same for two paths that normalizePath gave, which a walk need not have looked at again for each of its files. An
/// empty child is inside nothing.
bool isNormalPathInside(WStringView child, WStringView parent);
/// The same question answered without the comparison that isPathInside relies on; any failure inside gives false.
/// It checks the rule from a second side, so the two are not to be merged.
bool isPathInsideFolded(WStringView child, WStringView parent) noexcept;

/// Plain names, not paths: the same length, and equal unit by unit after towlower.
bool equalsIgnoreCase(WStringView left, WStringView right);

} // namespace dm
