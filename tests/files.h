// Whole trees by their Linux path, and work in processes of its own.
#pragma once

#include "scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <vector>

namespace dm::test {

using Tree = std::map<std::string, std::string>;

/// Everything below a folder: contents of files, targets of links, nothing of all else.
inline Tree treeOf(const std::string &root) {
    Tree tree;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(root))
        tree[entry.path().lexically_relative(root)] = entry.is_symlink() ? std::filesystem::read_symlink(entry).string()
                                                      : entry.is_regular_file() ? readFile(entry.path())
                                                                                : "";
    return tree;
}

/// Runs shell commands in a folder, without their messages; false from the first that fails.
inline bool runIn(const std::string &folder, const std::string &commands) {
    const std::string line = "exec 2>/dev/null; set -e; PATH=$PATH:/usr/sbin:/sbin; cd '" + folder + "'; " + commands;
    return std::system(line.c_str()) == 0;
}

/// The lines of a text that begins and ends with a line break, for tables of many texts.
inline std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (std::size_t start = 1, end; start < text.size(); start = end + 1) {
        end = text.find('\n', start);
        lines.emplace_back(text.substr(start, end - start));
    }
    return lines;
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

/// Runs in a process that was started anew, since the base folders are looked up once in a process.
inline void inNewProcess(const std::function<void()> &body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            body();
            std::fflush(nullptr);
            _exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace dm::test
