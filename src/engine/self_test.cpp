#include "engine/self_test.h"

#include "engine/cleaner.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/scanner.h"
#include "platform/win32.h"

#include <atomic>
#include <cstring>
#include <string_view>
#include <vector>

namespace dm {

namespace {

constexpr std::uint64_t fixtureAge = 2 * ageCutoff;
constexpr std::string_view fixtureText = "Dustmere isolated self-test fixture\n";

// The tree, all of it below a folder whose name nobody else has.
struct Fixture {
    explicit Fixture(const WString &rootFolder) : root(rootFolder) {}

    WString root;
    WString scan = root + W("\\scan");
    WString outside = root + W("\\outside");
    WString moved = root + W("\\moved");
    WString oldFile = scan + W("\\old.tmp");
    WString freshFile = scan + W("\\fresh.tmp");
    WString outsideFile = outside + W("\\old.tmp");
    WString link = scan + W("\\link");
    WString hardFile = scan + W("\\hard.tmp");
    WString aliasFile = outside + W("\\alias.tmp");
};

DWORD attributesOf(const WString &path) {
    return GetFileAttributesW(toExtendedPath(path).c_str());
}

bool exists(const WString &path) {
    return attributesOf(path) != INVALID_FILE_ATTRIBUTES;
}

bool makeFolder(const WString &path) {
    return CreateDirectoryW(toExtendedPath(path).c_str(), nullptr);
}

bool removeFolder(const WString &path) {
    return RemoveDirectoryW(toExtendedPath(path).c_str());
}

bool removeFile(const WString &path) {
    return DeleteFileW(toExtendedPath(path).c_str());
}

bool moveFolder(const WString &from, const WString &to) {
    return MoveFileW(toExtendedPath(from).c_str(), toExtendedPath(to).c_str());
}

bool makeHardLink(const WString &path, const WString &existing) {
    return CreateHardLinkW(toExtendedPath(path).c_str(), toExtendedPath(existing).c_str(), nullptr);
}

OwnedHandle openFixture(const WString &path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    return OwnedHandle(CreateFileW(toExtendedPath(path).c_str(), access, share, nullptr, disposition, flags, nullptr));
}

bool setLastWrite(HANDLE file, std::uint64_t ticks) {
    FILETIME time;
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return SetFileTime(file, nullptr, nullptr, &time);
}

bool createFixtureFile(const WString &path, bool aged) {
    const OwnedHandle file =
        openFixture(path, GENERIC_WRITE | FILE_WRITE_ATTRIBUTES, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    if (!file)
        return false;
    DWORD written = 0;
    if (!WriteFile(file.get(), fixtureText.data(), fixtureText.size(), &written, nullptr) ||
        written != fixtureText.size())
        return false;
    return setLastWrite(file.get(), currentTime() - (aged ? fixtureAge : 0));
}

bool ageFixtureFile(const WString &path) {
    const OwnedHandle file =
        openFixture(path, FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
    return file && setLastWrite(file.get(), currentTime() - fixtureAge);
}

// REPARSE_DATA_BUFFER of a mount point, which the user-mode headers do not declare. Offsets and lengths are in bytes.
struct MountPointHeader {
    DWORD tag;
    WORD dataLength;
    WORD reserved;
    WORD substituteNameOffset;
    WORD substituteNameLength;
    WORD printNameOffset;
    WORD printNameLength;
};
constexpr std::size_t mountPointNameFieldsSize = 4 * sizeof(WORD);
constexpr std::size_t mostMountPointUnits = 4095;

std::vector<BYTE> mountPointBuffer(const WString &target) {
    const WString printName = stripExtendedPrefix(target);
    const WString substituteName = W("\\??\\") + printName;
    const WString names = substituteName + WChar{} + printName + WChar{};
    if (names.size() > mostMountPointUnits)
        return {};
    const auto bytesOf = [](std::size_t units) { return static_cast<WORD>(units * sizeof(WChar)); };
    MountPointHeader header{};
    header.tag = IO_REPARSE_TAG_MOUNT_POINT;
    header.dataLength = static_cast<WORD>(mountPointNameFieldsSize + bytesOf(names.size()));
    header.substituteNameLength = bytesOf(substituteName.size());
    header.printNameOffset = bytesOf(substituteName.size() + 1);
    header.printNameLength = bytesOf(printName.size());

    std::vector<BYTE> buffer(sizeof(header) + bytesOf(names.size()));
    std::memcpy(buffer.data(), &header, sizeof(header));
    std::memcpy(buffer.data() + sizeof(header), names.data(), bytesOf(names.size()));
    return buffer;
}

bool setMountPoint(const WString &link, const WString &target) {
    const OwnedHandle folder =
        openFixture(link, GENERIC_WRITE, 0, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
    if (!folder)
        return false;
    std::vector<BYTE> buffer = mountPointBuffer(target);
    DWORD returned = 0;
    return !buffer.empty() && DeviceIoControl(folder.get(), FSCTL_SET_REPARSE_POINT, buffer.data(),
                                              static_cast<DWORD>(buffer.size()), nullptr, 0, &returned, nullptr);
}

bool createFixtureJunction(const WString &link, const WString &target) {
    if (!makeFolder(link))
        return false;
    if (setMountPoint(link, target))
        return true;
    removeFolder(link);
    return false;
}

void removeFixture(const Fixture &fixture) {
    for (const WString &folder : {fixture.scan, fixture.moved}) {
        const DWORD attributes = attributesOf(folder);
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            removeFolder(folder);
            continue;
        }
        removeFolder(folder + W("\\link"));
        for (const WStringView name : {W("\\old.tmp"), W("\\fresh.tmp"), W("\\hard.tmp")})
            removeFile(WString(folder).append(name));
        removeFolder(folder);
    }
    removeFile(fixture.outsideFile);
    removeFile(fixture.aliasFile);
    removeFolder(fixture.outside);
    removeFolder(fixture.root);
}

// Removes the tree when the run ends, however it ends.
struct FixtureRemover {
    const Fixture &fixture;

    ~FixtureRemover() {
        try {
            removeFixture(fixture);
        } catch (...) {
            // Only a lack of memory comes here, and nothing more can be done about the tree.
        }
    }
};

// What the checks leave to one another.
struct Trial {
    const Fixture &fixture;
    std::atomic<bool> cancelFlag = false;
    ScanResult scanned = {};

    void scan() { scanned = scanRoot(fixture.scan, cancelFlag); }
    const FileEntry &entry() const { return scanned.entries.front(); }
    CleanResult remove(bool skipLockedFiles = true) const {
        CleanResult result;
        deleteEntry(entry(), scanned.roots.front(), true, cancelFlag, result, {skipLockedFiles});
        return result;
    }
};

// Each check gives its failure, or an empty text. They build on the state that the one before left.

WStringView checkScan(Trial &trial) {
    trial.scan();
    // The young file, the junction and the hard link.
    constexpr std::uint64_t excluded = 3;
    if (trial.scanned.entries.size() != 1 || !samePath(trial.entry().path, trial.fixture.oldFile) ||
        trial.scanned.skipped < excluded)
        return W("Scan did not enforce age cutoff, reparse exclusion and hard-link exclusion.");
    return {};
}

WStringView checkStalePreview(Trial &trial) {
    const Fixture &fixture = trial.fixture;
    if (!createFixtureFile(fixture.oldFile, false))
        return W("Cannot update stale-preview fixture.");
    if (trial.remove().filesDeleted != 0 || !exists(fixture.oldFile))
        return W("Changed file was not protected from stale-preview deletion.");
    if (!ageFixtureFile(fixture.oldFile))
        return W("Cannot age fixture file.");
    trial.scan();
    if (trial.scanned.entries.size() != 1)
        return W("Cannot rescan aged fixture.");
    return {};
}

WStringView checkNewHardLink(Trial &trial) {
    const Fixture &fixture = trial.fixture;
    if (!makeHardLink(fixture.aliasFile, fixture.oldFile))
        return W("Cannot create changed-hard-link fixture.");
    if (trial.remove().filesDeleted != 0)
        return W("A new hard link was not protected.");
    if (!removeFile(fixture.aliasFile))
        return W("Cannot remove fixture hard link.");
    return {};
}

WStringView checkLockedFile(Trial &trial) {
    const Fixture &fixture = trial.fixture;
    const OwnedHandle held =
        openFixture(fixture.oldFile, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0);
    if (!held)
        return W("Cannot hold locked-file fixture.");
    const CleanResult skipping = trial.remove();
    if (skipping.lockedSkipped != 1 || skipping.filesDeleted != 0 || skipping.errors != 0 || skipping.retries != 0)
        return W("Default policy did not immediately skip the locked file safely.");
    const CleanResult retrying = trial.remove(false);
    if (retrying.errors != 1 || retrying.lockedErrors != 1 || retrying.filesDeleted != 0 || retrying.skipped != 0 ||
        retrying.retries != 2 || !exists(fixture.oldFile))
        return W("Retry policy did not preserve and report a persistently locked file.");
    return {};
}

WStringView checkReplacedRoot(Trial &trial) {
    const Fixture &fixture = trial.fixture;
    if (!removeFolder(fixture.link) || !moveFolder(fixture.scan, fixture.moved) ||
        !createFixtureJunction(fixture.scan, fixture.outside))
        return W("Cannot create replaced-root test fixture.");
    // The entry's path now leads to another file of the same name.
    if (trial.remove().filesDeleted != 0 || !exists(fixture.outsideFile))
        return W("Replaced-root junction protection failed.");
    if (!removeFolder(fixture.scan) || !moveFolder(fixture.moved, fixture.scan))
        return W("Cannot restore fixture root.");
    return {};
}

WStringView checkCancellation(Trial &trial) {
    trial.cancelFlag = true;
    const CleanResult result = trial.remove();
    trial.cancelFlag = false;
    if (!result.cancelled || result.filesDeleted != 0)
        return W("Cancellation protection failed.");
    return {};
}

// The only check that deletes something. That it succeeds shows that the restored root is accepted and that the removed
// hard link lifted its protection.
WStringView checkDeletion(Trial &trial) {
    const Fixture &fixture = trial.fixture;
    const CleanResult result = trial.remove();
    if (result.filesDeleted != 1 || result.bytesFreed != trial.entry().size || exists(fixture.oldFile) ||
        !exists(fixture.freshFile) || !exists(fixture.outsideFile))
        return W("Safe fixture deletion or preservation check failed.");
    return {};
}

WStringView checkContainment() {
    const WString parent = W("C:\\safe");
    const bool holds = isPathInsideFolded(W("\\\\?\\C:\\safe\\nested\\file.tmp"), W("c:\\safe")) &&
                       !isPathInsideFolded(W("C:\\safeOther\\file.tmp"), parent) &&
                       !isPathInsideFolded(W("C:\\safe\\..\\outside\\file.tmp"), parent) &&
                       !isPathInsideFolded(W("C:\\safe\\file.tmp:stream"), parent);
    return holds ? WStringView() : W("Path-containment policy failed.");
}

WStringView buildFixture(const Fixture &fixture) {
    if (!makeFolder(fixture.scan) || !makeFolder(fixture.outside) || !createFixtureFile(fixture.oldFile, true) ||
        !createFixtureFile(fixture.freshFile, false) || !createFixtureFile(fixture.outsideFile, true))
        return W("Cannot write isolated test files.");
    if (!createFixtureJunction(fixture.link, fixture.outside))
        return W("Filesystem does not support junction test fixtures.");
    if (!makeHardLink(fixture.hardFile, fixture.outsideFile))
        return W("Filesystem does not support hard-link test fixtures.");
    return {};
}

WStringView runChecks(const Fixture &fixture) {
    Trial trial{fixture};
    for (const auto check : {checkScan, checkStalePreview, checkNewHardLink, checkLockedFile, checkReplacedRoot,
                             checkCancellation, checkDeletion}) {
        const WStringView failure = check(trial);
        if (!failure.empty())
            return failure;
    }
    return {};
}

// The user's temp folder without trailing backslashes; empty where it cannot be told.
WString tempFolder() {
    constexpr DWORD units = 32768;
    WString folder(units, WChar{});
    const DWORD written = GetTempPathW(units, folder.data());
    if (written == 0 || written >= units)
        return {};
    folder.resize(written);
    while (folder.size() > driveRootUnits && folder.back() == W('\\'))
        folder.pop_back();
    return folder;
}

// A name that no other run has; empty on failure.
WString uniqueName() {
    GUID identity;
    WChar text[64];
    if (FAILED(CoCreateGuid(&identity)) || StringFromGUID2(identity, text, static_cast<int>(std::size(text))) == 0)
        return {};
    return WString(W("DustmereSelfTest-")) + text;
}

WStringView firstFailure() {
    if (const WStringView failure = checkContainment(); !failure.empty())
        return failure;
    const WString temp = tempFolder();
    if (temp.empty())
        return W("Cannot locate fixture temp directory.");
    PinnedPath pinned;
    if (!pinPath(pinned, temp))
        return W("Fixture parent must be a plain local directory.");
    const WString name = uniqueName();
    if (name.empty())
        return W("Cannot create unique fixture identity.");
    // A drive root ends in a backslash already.
    const WStringView separator = pinned.finalPath.back() == W('\\') ? W("") : W("\\");
    const Fixture fixture(WString(pinned.finalPath).append(separator) + name);
    if (!makeFolder(fixture.root))
        return W("Cannot create isolated fixture.");
    const FixtureRemover remover{fixture};
    if (const WStringView failure = buildFixture(fixture); !failure.empty())
        return failure;
    return runChecks(fixture);
}

} // namespace

bool runSelfTest(WString &report) {
    report = firstFailure();
    return report.empty();
}

} // namespace dm
