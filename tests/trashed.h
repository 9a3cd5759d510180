// What lies in a trash folder, and what its info files say about it.
#pragma once

#include "files.h"
#include "platform/linux/base_folders.h"

#include <regex>

namespace dm::test {

inline std::string homeTrash() {
    return platform::baseFolders().dataHome + "/Trash";
}

inline std::string percentDecoded(const std::string &text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        decoded += text[at] == '%' ? static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)) : text[at];
        at += text[at] == '%' ? 2 : 0;
    }
    return decoded;
}

/// The content of each trashed file by the path that it goes back to. Info files count paths from `top`, if it is not
/// empty. One without a file is allowed, but no file without a valid one.
inline Tree trashedIn(const std::string &trash, const std::string &top = {}) {
    Tree trashed;
    if (!std::filesystem::exists(trash + "/files"))
        return trashed;
    for (const auto &entry : std::filesystem::directory_iterator(trash + "/files")) {
        const std::string info = readFile(trash + "/info/" + entry.path().filename().string() + ".trashinfo");
        static const std::regex valid("\\[Trash Info\\]\nPath=([-A-Za-z0-9._~/%]+)\nDeletionDate="
                                      "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\n");
        std::smatch parts;
        if (!std::regex_match(info, parts, valid)) {
            ADD_FAILURE() << entry.path() << " has no valid info file: " << info;
            continue;
        }
        const std::string path = percentDecoded(parts[1]);
        EXPECT_EQ(path.starts_with('/'), top.empty()) << path;
        trashed[top.empty() ? path : top + '/' + path] = readFile(entry.path());
    }
    return trashed;
}

} // namespace dm::test
