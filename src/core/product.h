// The product's name and version, as they stand in titles and texts.
#pragma once

#include "platform/text.h"

namespace dm {

inline constexpr const WChar *productName = W("Dustmere");
inline constexpr const WChar *productVersion = W("1.2.0");
inline constexpr const WChar *productTitle = W("Dustmere 1.2.0");

} // namespace dm
