// The product's name and version, as they are shown.
#pragma once

#include "platform/places.h"
#include "platform/text.h"

namespace dm {

inline constexpr const WChar *productName = W("Dustmere");
inline constexpr const WChar *versionText = W("1.2.0");
inline constexpr const WChar *productTitle = W("Dustmere 1.2.0");

/// "1.2.0 · " and the platform's name.
inline WString versionLine() {
    return versionText + WString(W(" · ")) + platformName();
}

} // namespace dm
