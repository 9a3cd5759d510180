// Wide text and UTF-8 bytes, two ways: the strict pair for text of the program's own, the lossy pair for what comes
// from file names and from the disk.
#pragma once

#include "platform/text.h"

#include <string>
#include <string_view>

namespace dm {

/// Throws a runtime error "invalid UTF-8" if the bytes hold any invalid sequence.
WString utf8ToWide(std::string_view bytes);
/// As the platform converts it: nothing is checked. Throws a runtime error "text too long" beyond what the platform
/// converts at once, some 700 million units.
std::string wideToUtf8(WStringView text);

/// Never fails: what is no valid UTF-8 becomes U+FFFD byte by byte, and so does every control character but tab, line
/// feed and carriage return.
WString decodeUtf8Lossy(std::string_view bytes);
/// Never fails: unpaired surrogates and the same control characters become U+FFFD. What it gives is canonical: decoding
/// and encoding it again gives the same bytes.
std::string encodeUtf8Lossy(WStringView text);

/// Puts a carriage return before every line feed that has none, as a multi-line edit control needs it.
WString normalizeLineBreaks(WStringView text);

} // namespace dm
