// Rectangles as tests compare them.
#pragma once

#include "platform/win32.h"

#include <string>

namespace dm::test {

/// "left,top,right,bottom".
inline std::string edges(const RECT &rect) {
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + "," + std::to_string(rect.right) + "," +
           std::to_string(rect.bottom);
}

} // namespace dm::test
