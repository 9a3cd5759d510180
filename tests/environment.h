// Variables of the environment. Each test that looks at one sets it, so none is put back.
#pragma once

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace dm::test {

/// Null unsets.
inline void setEnvironment(std::initializer_list<std::pair<const char *, const char *>> variables) {
    for (const auto &[name, value] : variables)
        value == nullptr ? unsetenv(name) : setenv(name, value, 1);
}

} // namespace dm::test
