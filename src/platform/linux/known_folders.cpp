#include "platform/linux/base_folders.h"
#include "platform/linux/errors.h"
#include "platform/linux/path_text.h"
#include "platform/linux/volumes.h"
#include "platform/win32.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dm::platform {

namespace {

/// An environment variable that holds an absolute path. The XDG rules have relative values
/// ignored, and an empty one counts as unset.
std::string absoluteVariable(const char *name) {
    const char *value = getenv(name);
    return value != nullptr && *value == '/' ? cleanPath(value) : std::string();
}

std::string accountHome() {
    std::vector<char> buffer(1024);
    passwd account{};
    passwd *found = nullptr;
    while (getpwuid_r(getuid(), &account, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(buffer.size() * 2);
    const bool hasHome = found != nullptr && found->pw_dir != nullptr && *found->pw_dir == '/';
    return hasHome ? cleanPath(found->pw_dir) : "/";
}

/// Follows the links of the deepest part that exists; what is missing below it is appended as it is.
std::string resolveWhole(const std::string &path) {
    for (std::string existing = path; existing != "/"; existing = parentPath(existing)) {
        const std::unique_ptr<char, decltype(&free)> resolved(realpath(existing.c_str(), nullptr), &free);
        if (resolved == nullptr)
            continue;
        const std::string_view missing = std::string_view(path).substr(existing.size());
        return missing.empty() ? resolved.get() : joinPath(resolved.get(), missing.substr(1));
    }
    return path;
}

std::string resolveFolder(const char *variable, const std::string &home, std::string_view usual) {
    const std::string told = absoluteVariable(variable);
    return resolveWhole(told.empty() ? joinPath(home, usual) : told);
}

BaseFolders resolveBaseFolders() {
    BaseFolders folders;
    const std::string home = absoluteVariable("HOME");
    folders.home = resolveWhole(home.empty() ? accountHome() : home);
    folders.dataHome = resolveFolder("XDG_DATA_HOME", folders.home, ".local/share");
    folders.cacheHome = resolveFolder("XDG_CACHE_HOME", folders.home, ".cache");
    folders.configHome = resolveFolder("XDG_CONFIG_HOME", folders.home, ".config");
    return folders;
}

} // namespace

const BaseFolders &baseFolders() {
    static const BaseFolders folders = resolveBaseFolders();
    return folders;
}

bool makeBaseFolder(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode))
            return true;
        errno = ENOTDIR;
        return false;
    }
    if (errno != ENOENT || path == "/" || !makeBaseFolder(parentPath(path)))
        return false;
    // Another process may make it at the same moment.
    return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

} // namespace dm::platform

using namespace dm::platform;

namespace {

/// The folder of local application data, which is made if it is missing.
HRESULT localAppData(dm::WString &path) {
    const std::string &dataHome = baseFolders().dataHome;
    if (!makeBaseFolder(dataHome))
        return HRESULT_FROM_WIN32(errorOf(errno));
    path = drivePath(dataHome);
    return path.empty() ? HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND) : S_OK;
}

} // namespace

HRESULT WINAPI SHGetFolderPathW(HWND, int folder, HANDLE, DWORD type, LPWSTR path) {
    if (path == nullptr || folder != CSIDL_LOCAL_APPDATA || type != SHGFP_TYPE_CURRENT)
        return E_INVALIDARG;
    dm::WString wide;
    if (const HRESULT result = localAppData(wide); FAILED(result))
        return result;
    if (wide.size() >= MAX_PATH)
        return HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
    memcpy(path, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
    return S_OK;
}

DWORD WINAPI GetTempPathW(DWORD units, LPWSTR path) {
    // Not resolved: a folder for temporary files that is a link stays one, for its user to see.
    const std::string told = absoluteVariable("TMPDIR");
    dm::WString wide = drivePath(told.empty() ? "/tmp" : told);
    if (wide.empty()) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    if (!wide.ends_with(u'\\'))
        wide.push_back(u'\\');
    if (path == nullptr || units <= wide.size())
        return static_cast<DWORD>(wide.size() + 1);
    memcpy(path, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
    return static_cast<DWORD>(wide.size());
}
