#include "platform/linux/trash_move.h"

#include "platform/linux/errors.h"
#include "platform/linux/folder_names.h"
#include "platform/linux/names.h"
#include "platform/linux/path_text.h"
#include "platform/linux/private_folder.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <utility>

namespace dm::platform {
namespace {

constexpr int mostNames = 16; ///< that are tried; all but the first are random

/// The bytes of a name's beginning that leave no character cut in two, at most so many.
std::size_t wholeCharacters(std::string_view name, std::size_t most) {
    if (name.size() <= most)
        return name.size();
    std::size_t end = most;
    while (end > 0 && end + 3 > most && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80)
        --end;
    return end;
}

/// A name for the trash: the file's own, if need be shortened so that the info file's has room, or the same with
/// something random in it. What follows the last full stop stays at its end, by which programs tell what a file is.
std::string nameInTrash(const std::string &name, bool ownName) {
    constexpr std::size_t longestEnding = 16;
    const std::string_view whole = name;
    const std::size_t dot = whole.rfind('.');
    const bool hasEnding = dot != whole.npos && dot > 0 && whole.size() - dot <= longestEnding;
    const std::string_view ending = hasEnding ? whole.substr(dot) : std::string_view();
    const std::string_view stem = whole.substr(0, whole.size() - ending.size());
    const std::string added = ownName ? std::string() : '.' + randomName().substr(0, 8);
    const std::size_t room = NAME_MAX - infoSuffix.size() - added.size() - ending.size();
    return std::string(stem.substr(0, wholeCharacters(stem, room))).append(added).append(ending);
}

/// As in a URI: every byte but letters, digits, four marks and the slash.
std::string percentEncoded(std::string_view path) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char byte : path) {
        const auto value = static_cast<unsigned char>(byte);
        const bool isLetter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
        if (isLetter || (byte >= '0' && byte <= '9') || std::string_view("-._~/").find(byte) != std::string_view::npos)
            encoded += byte;
        else
            encoded.append({'%', digits[value >> 4], digits[value & 0xF]});
    }
    return encoded;
}

std::string localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char text[32];
    text[std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local)] = '\0';
    return text;
}

std::string contentOfInfo(const TrashMove &move) {
    std::string path = joinPath(move.folder->linuxPath, move.name);
    if (const std::string &top = move.target.trash.top; !top.empty())
        path.erase(0, top.size() + (top.ends_with('/') ? 0 : 1));
    return "[Trash Info]\nPath=" + percentEncoded(path) + "\nDeletionDate=" + localTime() + '\n';
}

std::string infoNameOf(const TrashMove &move) {
    return move.newName + std::string(infoSuffix);
}

bool writeWhole(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR)
            return false;
        content.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

/// False with errno set. A folder that may not be read cannot be flushed by itself.
bool flushFolder(int folder) {
    const Fd readable(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return readable ? flushNames(readable.get()) : errno == EACCES;
}

FolderRef infoFolder(const TrashMove &move) {
    const auto folder = std::make_shared<Folder>();
    folder->held = std::make_shared<const Fd>(fcntl(move.target.info.get(), F_DUPFD_CLOEXEC, 0));
    folder->linuxPath = move.target.trash.path + "/info";
    return folder;
}

/// Removes the info file that nobody needs, if its name still is that file's: taken to where nobody else can reach it,
/// like any file that goes for good. Where there is no such place it stays.
void dropInfo(TrashMove &move) {
    const std::uint64_t index = std::exchange(move.infoIndex, 0);
    const std::string name = infoNameOf(move);
    if (index == 0 || infoIndex(move.target.info.get(), name) != index)
        return;
    const std::shared_ptr<PrivateFolder> place = privateFolderFor(move.folder);
    const FolderRef folder = infoFolder(move);
    const std::string taken = randomName();
    if (!place || takeName(*place, folder, name, taken) != ERROR_SUCCESS)
        return;
    if (infoIndex(place->descriptor.get(), taken) == index)
        unlinkat(place->descriptor.get(), taken.c_str(), 0);
    else if (putBack(*place, taken, *folder, name) == PutBack::Failed)
        retire(*place);
}

bool isTaken(const TrashMove &move) {
    Record record;
    return readRecord(move.target.files.get(), move.newName.c_str(), record) || errno != ENOENT;
}

/// Makes the info file under the new name, for nobody else to have; the disk has it before the file comes.
DWORD writeInfo(TrashMove &move) {
    if (isTaken(move))
        return ERROR_ALREADY_EXISTS;
    const int folder = move.target.info.get();
    const Fd info(openat(folder, infoNameOf(move).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                         S_IRUSR | S_IWUSR));
    Record record;
    if (!info || !readRecord(info.get(), "", record))
        return errorOf(errno);
    move.infoIndex = fileIndexOf(info.get(), record);
    if (!writeWhole(info.get(), contentOfInfo(move)) || fsync(info.get()) != 0 || !flushFolder(folder)) {
        const DWORD code = errorOf(errno);
        dropInfo(move);
        return code;
    }
    return ERROR_SUCCESS;
}

DWORD reserveName(TrashMove &move, bool ownName) {
    DWORD code = ERROR_ALREADY_EXISTS;
    for (int names = 0; names < mostNames && code == ERROR_ALREADY_EXISTS; ++names) {
        move.newName = nameInTrash(move.name, ownName && names == 0);
        code = writeInfo(move);
    }
    return code;
}

/// Other programs restore a file by its whole path, which the kernel must take at once.
bool hasWayBack(const TrashMove &move) {
    return move.folder->linuxPath.size() + 1 + move.name.size() < PATH_MAX;
}

DWORD openSource(const WString &path, WString &normal, TrashMove &move) {
    WStringView folder;
    WStringView name;
    if (!parsePath(path.c_str(), normal) || !splitPath(normal, folder, name) || !linuxName(name, move.name))
        return ERROR_INVALID_NAME;
    move.folder = folderToOpenIn(folder);
    if (!move.folder)
        return GetLastError();
    if (move.folder->isNameless() || isInTrash(*move.folder))
        return ERROR_NOT_SUPPORTED;
    move.file = openName(move.folder->descriptor(), move.name.c_str());
    if (!move.file)
        return errno == EXDEV ? ERROR_NOT_SUPPORTED : errorOf(errno);
    if (!readRecord(move.file.get(), "", move.record))
        return errorOf(errno);
    return S_ISREG(move.record.stx_mode) && hasWayBack(move) ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED;
}

/// The file in the trash is the one that was opened, as it was then, and its way back is known.
bool isAsOpened(const TrashMove &move) {
    Record record;
    return readRecord(move.target.files.get(), move.newName.c_str(), record) && isUnchanged(record, move.record) &&
           record.stx_nlink == move.record.stx_nlink && proveAllLevels(*move.folder) && isInPlace(move.target) &&
           infoIndex(move.target.info.get(), infoNameOf(move)) == move.infoIndex;
}

DWORD rename(const TrashMove &move) {
    const DWORD code = moveName(move.folder->descriptor(), move.name, move.target.files.get(), move.newName);
    return code == ERROR_NOT_SAME_DEVICE ? ERROR_NOT_SUPPORTED : code;
}

} // namespace

TrashMove::~TrashMove() {
    dropInfo(*this);
}

DWORD prepareTrashMove(const WString &path, TrashMove &move) {
    WString normal;
    DWORD code = openSource(path, normal, move);
    if (code == ERROR_SUCCESS)
        code = openTrashFor(normal.front(), true, move.target);
    return code == ERROR_SUCCESS ? reserveName(move, true) : code;
}

DWORD carryOutTrashMove(TrashMove &move) {
    DWORD code = rename(move);
    for (int names = 1; names < mostNames && code == ERROR_ALREADY_EXISTS; ++names) {
        dropInfo(move);
        code = reserveName(move, false);
        if (code == ERROR_SUCCESS)
            code = rename(move);
    }
    if (code != ERROR_SUCCESS)
        return code;
    if (!isAsOpened(move)) {
        // What cannot go back stays in the trash with the info file.
        if (moveBack(move.target.files.get(), move.newName, move.folder->descriptor(), move.name))
            dropInfo(move);
        move.infoIndex = 0;
        return ERROR_FILE_INVALID;
    }
    move.infoIndex = 0;
    // Whether or not these succeed, a power cut leaves the file in one of the two places, and the info file is there.
    // The sizes that file managers keep beside the items are of folders alone, and so stay right.
    flushFolder(move.target.files.get());
    flushFolder(move.folder->descriptor());
    return ERROR_SUCCESS;
}

WString trashedPath(const TrashMove &move) {
    const std::string user = recycleBinUser();
    WString path{move.target.trash.letter, W(':'), W('\\')};
    path.append(recycleBinName).append(1, W('\\')).append(user.begin(), user.end()).append(1, W('\\'));
    appendWideName(move.newName, path);
    return path;
}

} // namespace dm::platform
