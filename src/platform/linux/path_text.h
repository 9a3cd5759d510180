// Linux paths as text: absolute, bytes between slashes.
#pragma once

#include <string>
#include <string_view>

namespace dm::platform {

/// Without doubled slashes and slashes at the end; "." and ".." stay. The root stays "/".
inline std::string cleanPath(std::string_view path) {
    std::string clean;
    clean.reserve(path.size());
    for (char byte : path)
        if (byte != '/' || !clean.ends_with('/'))
            clean.push_back(byte);
    if (clean.size() > 1 && clean.ends_with('/'))
        clean.pop_back();
    return clean;
}

/// The folder that holds a clean path; the root's is the root.
inline std::string parentPath(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return std::string(slash == 0 ? path.substr(0, 1) : path.substr(0, slash));
}

inline std::string_view lastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// `below` is relative.
inline std::string joinPath(std::string_view folder, std::string_view below) {
    std::string path(folder);
    if (!path.ends_with('/'))
        path.push_back('/');
    return path.append(below);
}

/// Whether a clean path is the folder or lies below it.
inline bool isWithin(std::string_view path, std::string_view folder) {
    return path.starts_with(folder) && (folder == "/" || path.size() == folder.size() || path[folder.size()] == '/');
}

} // namespace dm::platform
