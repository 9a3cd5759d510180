// Whole files by their Linux path, and work in processes of its own.
#pragma once

#include "scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

namespace dm::test {

/// Empty where there is none.
inline std::string readFile(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string &path, std::string_view content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    require(static_cast<bool>(file << content << std::flush), path);
}

/// What the call throws, or nothing.
inline std::string failureOf(const std::function<void()> &call) {
    try {
        call();
    } catch (const std::exception &error) {
        return error.what();
    }
    return {};
}

} // namespace dm::test
