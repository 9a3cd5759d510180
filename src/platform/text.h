// The program's wide text: UTF-16 units in both homes.
#pragma once

#include <string>
#include <string_view>

#if defined(_WIN32)
#define W(literal) L##literal
namespace dm {
using WChar = wchar_t;
} // namespace dm
#else
#define W(literal) u##literal
namespace dm {
using WChar = char16_t;
} // namespace dm
#endif

namespace dm {

/// Text of UTF-16 units: counted, not necessarily well formed (paths may hold unpaired units).
using WString = std::basic_string<WChar>;
using WStringView = std::basic_string_view<WChar>;

} // namespace dm
