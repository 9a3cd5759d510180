// How a fuzz target tells that a property does not hold.
#pragma once

#include <cstdlib>
#include <iostream>

inline void require(bool holds, const char *property) {
    if (holds)
        return;
    std::cerr << "broken property: " << property << '\n';
    std::abort();
}
