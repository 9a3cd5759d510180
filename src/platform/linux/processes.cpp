// Processes, sessions and owners over /proc.
#include "platform/linux/errors.h"
#include "platform/linux/fd.h"
#include "platform/linux/handle.h"
#include "platform/linux/names.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dm::platform {

namespace {

struct ListedProcess {
    DWORD id;
    WString name;
};

struct Snapshot final : Object {
    std::vector<ListedProcess> processes;
    std::size_t next = 0;
    DWORD endsWith = ERROR_NO_MORE_FILES; ///< another code where the list is not whole
};

struct Process final : Object {
    explicit Process(uid_t user) : owner(user) {}
    uid_t owner;
};

struct Token final : Object {
    explicit Token(uid_t user) : owner(user) {}
    uid_t owner;
};

struct BrowserName {
    std::string_view here;
    std::string_view published;
};

/// Names under which the known browsers run here. The published names stand among them for programs that are
/// really called so.
constexpr BrowserName browserNames[] = {
    {"chrome", "chrome.exe"},
    {"google-chrome", "chrome.exe"},
    {"google-chrome-stable", "chrome.exe"},
    {"google-chrome-beta", "chrome.exe"},
    {"google-chrome-unstable", "chrome.exe"},
    {"chromium", "chrome.exe"},
    {"chromium-browser", "chrome.exe"},
    {"chrome.exe", "chrome.exe"},
    {"msedge", "msedge.exe"},
    {"microsoft-edge", "msedge.exe"},
    {"microsoft-edge-stable", "msedge.exe"},
    {"microsoft-edge-beta", "msedge.exe"},
    {"microsoft-edge-dev", "msedge.exe"},
    {"msedge.exe", "msedge.exe"},
    {"firefox", "firefox.exe"},
    {"firefox-esr", "firefox.exe"},
    {"firefox-bin", "firefox.exe"},
    {"firefox.exe", "firefox.exe"},
};

/// The kernel keeps no more of a command name than this (TASK_COMM_LEN without its null).
constexpr std::size_t commandNameLimit = 15;

/// Whatever the locale: a Turkish one has another small I.
char lowerAscii(char unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
}

/// The published name of the browser that runs under this one; empty where it is none's. What stands in `limit` bytes
/// may be the beginning of a longer name.
std::string_view browserNameOf(std::string_view name, std::size_t limit) {
    for (const BrowserName &browser : browserNames) {
        const std::string_view kept = browser.here.substr(0, limit);
        if (std::equal(kept.begin(), kept.end(), name.begin(), name.end(),
                       [](char known, char unit) { return known == lowerAscii(unit); }))
            return browser.published;
    }
    return {};
}

WString programName(std::string_view name, std::size_t limit) {
    const std::string_view browser = browserNameOf(name, limit);
    WString wide;
    if (!browser.empty())
        wide.assign(browser.begin(), browser.end());
    else if (!name.empty())
        appendWideName(name, wide);
    return wide;
}

std::string_view lastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// Reads the beginning of a small file below /proc. Empty with errno set on failure.
std::optional<std::string> readBeginning(int folder, const char *path, std::size_t limit) {
    const Fd file(openat(folder, path, O_RDONLY | O_CLOEXEC));
    if (!file)
        return std::nullopt;
    std::string text(limit, '\0');
    const ssize_t size = read(file.get(), text.data(), text.size());
    if (size < 0)
        return std::nullopt;
    text.resize(static_cast<std::size_t>(size));
    return text;
}

bool meansEnded(int errnoValue) {
    return errnoValue == ENOENT || errnoValue == ESRCH;
}

/// All of its threads have ended and only its parent has not noticed: such a process holds nothing.
bool isZombie(int proc, const std::string &id) {
    const std::optional<std::string> text = readBeginning(proc, (id + "/stat").c_str(), 1024);
    if (!text)
        return meansEnded(errno);
    // The command name stands in brackets and may hold brackets and blanks of its own.
    const std::size_t nameEnd = text->rfind(')');
    if (nameEnd == std::string::npos)
        return false;
    char state = '\0';
    long threads = 0;
    const int fields =
        std::sscanf(text->c_str() + nameEnd + 1,
                    " %c %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %ld", &state, &threads);
    return fields == 2 && (state == 'Z' || state == 'X') && threads <= 1;
}

enum class Look {
    Named,
    Ended,
    Unreadable, ///< with errno set
};

/// The name of the program that a process runs. Its executable tells it; that of a process which this user may not
/// look into is hidden, and only the command name is left.
Look lookAt(int proc, const std::string &id, WString &name) {
    std::array<char, PATH_MAX> link;
    const ssize_t size = readlinkat(proc, (id + "/exe").c_str(), link.data(), link.size());
    if (size > 0 && static_cast<std::size_t>(size) < link.size()) {
        std::string_view executable = lastComponent({link.data(), static_cast<std::size_t>(size)});
        // Added by the kernel when a running program was upgraded. A file really called so loses nothing by it.
        constexpr std::string_view deleted = " (deleted)";
        if (executable.ends_with(deleted))
            executable.remove_suffix(deleted.size());
        name = programName(executable, std::string_view::npos);
        return Look::Named;
    }

    const std::optional<std::string> command = readBeginning(proc, (id + "/comm").c_str(), 64);
    if (!command)
        return meansEnded(errno) ? Look::Ended : Look::Unreadable;
    std::string_view shortName = *command;
    if (shortName.ends_with('\n'))
        shortName.remove_suffix(1);
    shortName = lastComponent(shortName);
    if (!browserNameOf(shortName, commandNameLimit).empty() && isZombie(proc, id))
        return Look::Ended;
    name = programName(shortName, commandNameLimit);
    return Look::Named;
}

bool ownsFolder(int proc, const std::string &id) {
    struct stat folder;
    return fstatat(proc, id.c_str(), &folder, AT_SYMLINK_NOFOLLOW) == 0 && folder.st_uid == getuid();
}

/// Other users' processes can be hidden from this one (hidepid). Any other that tells no name may be anything.
bool isHiddenOfOther(int proc, const std::string &id) {
    return (errno == EACCES || errno == EPERM) && !ownsFolder(proc, id);
}

void addProcess(int proc, const std::string &id, Snapshot &snapshot) {
    WString name;
    switch (lookAt(proc, id, name)) {
    case Look::Named:
        snapshot.processes.push_back({static_cast<DWORD>(std::stoul(id)), std::move(name)});
        break;
    case Look::Ended:
        break;
    case Look::Unreadable:
        if (!isHiddenOfOther(proc, id))
            snapshot.endsWith = ERROR_ACCESS_DENIED;
        break;
    }
}

/// False with the last error set where /proc does not list this very process, and so cannot be that of this system.
bool listProcesses(Snapshot &snapshot) {
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir("/proc"), closedir);
    if (folder == nullptr)
        return failErrno();
    const int proc = dirfd(folder.get());
    std::array<char, 32> self;
    const ssize_t selfSize = readlinkat(proc, "self", self.data(), self.size());
    if (selfSize < 0)
        return failErrno();
    const std::string_view ownId(self.data(), static_cast<std::size_t>(selfSize));

    bool seen = false;
    errno = 0;
    while (const dirent *entry = readdir(folder.get())) {
        const std::string id = entry->d_name;
        if (id.find_first_not_of("0123456789") == std::string::npos) {
            addProcess(proc, id, snapshot);
            seen = seen || id == ownId;
        }
        errno = 0;
    }
    if (errno != 0)
        return failErrno();
    return seen || fail(ERROR_NOT_SUPPORTED);
}

/// Numbers of the user that a process runs as, and those it can become.
std::optional<std::array<uid_t, 4>> usersOf(int processFolder) {
    const std::optional<std::string> status = readBeginning(processFolder, "status", 1024);
    if (!status)
        return std::nullopt;
    const std::size_t line = status->find("\nUid:"); // the name in the first line has its line breaks escaped
    std::array<uid_t, 4> users;
    if (line == std::string::npos ||
        std::sscanf(status->c_str() + line + 5, "%u %u %u %u", &users[0], &users[1], &users[2], &users[3]) != 4) {
        errno = EIO;
        return std::nullopt;
    }
    return users;
}

/// The user whose process it is; this user where it may be. Empty with errno set.
std::optional<uid_t> ownerOf(DWORD processId) {
    const Fd folder(open(("/proc/" + std::to_string(processId)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat status;
    if (!folder || fstat(folder.get(), &status) != 0)
        return std::nullopt;
    if (status.st_uid == getuid())
        return status.st_uid;
    // The folder belongs to root where the process may not be looked into, whoever runs it.
    if (const std::optional<std::array<uid_t, 4>> users = usersOf(folder.get())) {
        const bool ofThisUser = std::find(users->begin(), users->end(), getuid()) != users->end();
        return ofThisUser ? getuid() : (*users)[1];
    }
    if (meansEnded(errno) || status.st_uid == 0)
        return std::nullopt;
    return status.st_uid;
}

BOOL fillEntry(Snapshot *snapshot, PROCESSENTRY32W *entry) {
    if (snapshot == nullptr)
        return FALSE;
    if (entry == nullptr || entry->dwSize < sizeof(PROCESSENTRY32W))
        return fail(ERROR_BAD_LENGTH);
    if (snapshot->next == snapshot->processes.size())
        return fail(snapshot->endsWith);
    const ListedProcess &process = snapshot->processes[snapshot->next++];
    // Nobody asks here for more than number and name.
    *entry = {};
    entry->dwSize = sizeof(PROCESSENTRY32W);
    entry->th32ProcessID = process.id;
    process.name.copy(entry->szExeFile, std::size(entry->szExeFile) - 1);
    return TRUE;
}

constexpr DWORD theSession = 1;

} // namespace

} // namespace dm::platform

using namespace dm::platform;

HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD) {
    if (flags != TH32CS_SNAPPROCESS) {
        fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    auto snapshot = std::make_unique<Snapshot>();
    return listProcesses(*snapshot) ? newHandle(snapshot.release()) : INVALID_HANDLE_VALUE;
}

BOOL WINAPI Process32FirstW(HANDLE handle, PROCESSENTRY32W *entry) {
    Snapshot *snapshot = objectOf<Snapshot>(handle);
    if (snapshot != nullptr)
        snapshot->next = 0;
    return fillEntry(snapshot, entry);
}

BOOL WINAPI Process32NextW(HANDLE handle, PROCESSENTRY32W *entry) {
    return fillEntry(objectOf<Snapshot>(handle), entry);
}

DWORD WINAPI GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

HANDLE WINAPI GetCurrentProcess() {
    return INVALID_HANDLE_VALUE; // the published pseudo handle has the same value
}

BOOL WINAPI ProcessIdToSessionId(DWORD, DWORD *sessionId) {
    // Whether the process still runs is for OpenProcess to tell: to fail here would mean doubt.
    if (sessionId == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    *sessionId = theSession;
    return TRUE;
}

HANDLE WINAPI OpenProcess(DWORD, BOOL, DWORD processId) {
    const std::optional<uid_t> owner = ownerOf(processId);
    if (!owner) {
        fail(meansEnded(errno) ? ERROR_INVALID_PARAMETER : ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return newHandle(new Process(*owner));
}

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD, PHANDLE token) {
    if (token == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    uid_t owner = getuid();
    if (process != GetCurrentProcess()) {
        const Process *opened = objectOf<Process>(process);
        if (opened == nullptr)
            return FALSE;
        owner = opened->owner;
    }
    *token = newHandle(new Token(owner));
    return TRUE;
}

BOOL WINAPI GetTokenInformation(HANDLE handle, TOKEN_INFORMATION_CLASS infoClass, LPVOID information, DWORD size,
                                PDWORD needed) {
    const Token *token = objectOf<Token>(handle);
    if (token == nullptr)
        return FALSE;
    if (infoClass != TokenUser || needed == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    // What a SID points to is the number of the user, right behind the record.
    *needed = sizeof(TOKEN_USER) + sizeof token->owner;
    if (information == nullptr || size < *needed)
        return fail(ERROR_INSUFFICIENT_BUFFER);
    BYTE *sid = static_cast<BYTE *>(information) + sizeof(TOKEN_USER);
    const TOKEN_USER user = {{sid, 0}};
    std::memcpy(information, &user, sizeof user);
    std::memcpy(sid, &token->owner, sizeof token->owner);
    return TRUE;
}

BOOL WINAPI EqualSid(PSID left, PSID right) {
    if (left == nullptr || right == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    return std::memcmp(left, right, sizeof(uid_t)) == 0;
}
