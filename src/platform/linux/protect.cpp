// Data protection: XChaCha20-Poly1305 under a key that is derived from a secret of this user's, the machine and the
// user's number. The secret lies in a file of its own below the user's configuration folder, away from what it
// protects.
#include "platform/linux/base_folders.h"
#include "platform/linux/errors.h"
#include "platform/linux/folder_names.h"
#include "platform/linux/folders.h"
#include "platform/linux/path_text.h"
#include "platform/win32.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

using namespace dm::platform;

namespace {

constexpr const char *keyName = "protection.key";
constexpr const char *newKeyName = "protection.key.new";
constexpr mode_t keyMode = S_IRUSR | S_IWUSR;

/// The key file. The sum tells a damaged one from a whole one: to protect anything under a damaged secret would make
/// worthless what the whole one, once it is back, still opens.
struct KeyFile {
    unsigned char secret[crypto_generichash_KEYBYTES];
    unsigned char sum[crypto_generichash_BYTES];

    KeyFile() = default;
    KeyFile(const KeyFile &) = delete;
    KeyFile &operator=(const KeyFile &) = delete;
    ~KeyFile() { sodium_memzero(this, sizeof *this); }
};

/// What a block is encrypted under.
struct Key {
    unsigned char bytes[crypto_aead_xchacha20poly1305_ietf_KEYBYTES];

    Key() = default;
    Key(const Key &) = delete;
    Key &operator=(const Key &) = delete;
    ~Key() { sodium_memzero(bytes, sizeof bytes); }
};

/// A block: this, then the plain bytes encrypted, with the tag that proves it all.
struct BlockHead {
    unsigned char mark[8];
    unsigned char nonce[crypto_aead_xchacha20poly1305_ietf_NPUBBYTES];
};
constexpr unsigned char blockMark[8] = {'D', 'M', '-', 'S', 'E', 'A', 'L', '1'};
constexpr std::size_t addedBytes = sizeof(BlockHead) + crypto_aead_xchacha20poly1305_ietf_ABYTES;

void sumOf(const KeyFile &key, unsigned char (&sum)[crypto_generichash_BYTES]) {
    crypto_generichash(sum, sizeof sum, key.secret, sizeof key.secret, nullptr, 0);
}

bool refuse(int errnoValue) {
    errno = errnoValue;
    return false;
}

/// Reads so many bytes, or fewer at the end of the file; -1 with errno set.
ssize_t readAll(int file, void *bytes, std::size_t size) {
    std::size_t done = 0;
    for (;;) {
        const ssize_t got = read(file, static_cast<unsigned char *>(bytes) + done, size - done);
        if (got < 0 && errno != EINTR)
            return -1;
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
        if (got == 0 || done == size)
            return static_cast<ssize_t>(done);
    }
}

/// Opens the folder of the key. Empty with errno set.
Fd openKeyFolder(bool make) {
    const std::string &config = baseFolders().configHome;
    const std::string folder = joinPath(config, "dustmere");
    if (make && (!makeBaseFolder(config) || (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)))
        return Fd();
    return Fd(open(folder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// False with errno set: ENOENT where there is no key, EKEYREJECTED for one that is damaged or another user's, or that
/// others can read or write.
bool readKey(int folder, KeyFile &key) {
    const Fd path = openName(folder, keyName);
    struct stat status;
    if (!path || fstat(path.get(), &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0 ||
        status.st_size != sizeof key)
        return refuse(EKEYREJECTED);
    const Fd file = openAgain(path.get(), O_RDONLY);
    const ssize_t got = file ? readAll(file.get(), &key, sizeof key) : -1;
    if (got < 0)
        return false;
    unsigned char sum[crypto_generichash_BYTES];
    sumOf(key, sum);
    return (got == sizeof key && sodium_memcmp(sum, key.sum, sizeof sum) == 0) || refuse(EKEYREJECTED);
}

/// Writes a new secret to the disk under the name of a new key.
bool writeNewKey(int folder) {
    unlinkat(folder, newKeyName, 0); // what a killed process left
    const Fd file(openat(folder, newKeyName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, keyMode));
    KeyFile key;
    randombytes_buf(key.secret, sizeof key.secret);
    sumOf(key, key.sum);
    if (!file)
        return false;
    const ssize_t written = write(file.get(), &key, sizeof key);
    if (written >= 0 && written != sizeof key)
        return refuse(ENOSPC);
    return written >= 0 && fchmod(file.get(), keyMode) == 0 && fsync(file.get()) == 0;
}

/// Makes the key unless another process does: whoever gives it its name first has made it for all. It gets its name
/// only when it is whole on the disk, and never in place of another.
bool makeKey(int folder, KeyFile &key) {
    const Fd names = lockNames(folder);
    if (!names)
        return false;
    if (readKey(folder, key))
        return true;
    if (errno != ENOENT)
        return false;
    const bool made = writeNewKey(folder) && (linkat(folder, newKeyName, folder, keyName, 0) == 0 || errno == EEXIST) &&
                      flushNames(names.get());
    const int error = errno;
    unlinkat(folder, newKeyName, 0);
    return made ? readKey(folder, key) : refuse(error);
}

/// The machine's number, or nothing where it has none, as in a small container: then the secret alone decides. False
/// with errno set where it has one that could not be read just now.
bool readMachineId(std::string &id) {
    for (const char *place : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
        char text[32];
        const Fd file(open(place, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (!file && errno != ENOENT && errno != EACCES)
            return false;
        const ssize_t got = file ? readAll(file.get(), text, sizeof text) : 0;
        if (got < 0)
            return false;
        // A machine that was never set up has an empty file, or one with a word in it.
        if (got == sizeof text && std::all_of(std::begin(text), std::end(text),
                                              [](unsigned char digit) { return std::isxdigit(digit) != 0; })) {
            id.assign(text, sizeof text);
            return true;
        }
    }
    return true;
}

bool deriveKey(const KeyFile &file, Key &key) {
    std::string machine;
    if (!readMachineId(machine))
        return false;
    const std::string bound = "dustmere protection|" + machine + '|' + std::to_string(geteuid());
    crypto_generichash(key.bytes, sizeof key.bytes, reinterpret_cast<const unsigned char *>(bound.data()), bound.size(),
                       file.secret, sizeof file.secret);
    return true;
}

/// False with errno set.
bool getKey(bool make, Key &key) {
    KeyFile file;
    const Fd folder = openKeyFolder(make);
    if (!folder)
        return false;
    const bool have = readKey(folder.get(), file) || (make && errno == ENOENT && makeKey(folder.get(), file));
    return have && deriveKey(file, key);
}

/// Memory that LocalFree frees; false with the last error set.
bool allocate(std::size_t size, DATA_BLOB &blob) {
    blob.cbData = static_cast<DWORD>(size);
    blob.pbData = static_cast<BYTE *>(std::malloc(std::max<std::size_t>(size, 1)));
    return blob.pbData != nullptr || fail(ERROR_NOT_ENOUGH_MEMORY) != FALSE;
}

bool isReady() {
    static const bool ready = sodium_init() >= 0;
    return ready || fail(ERROR_GEN_FAILURE) != FALSE;
}

bool isKnown(const DATA_BLOB *in, const DATA_BLOB *entropy, PVOID reserved, const CRYPTPROTECT_PROMPTSTRUCT *prompt,
             DWORD flags, const DATA_BLOB *out) {
    const bool known = in != nullptr && (in->pbData != nullptr || in->cbData == 0) && entropy == nullptr &&
                       reserved == nullptr && prompt == nullptr && flags == CRYPTPROTECT_UI_FORBIDDEN && out != nullptr;
    return known || fail(ERROR_INVALID_PARAMETER) != FALSE;
}

} // namespace

BOOL WINAPI CryptProtectData(DATA_BLOB *plain, LPCWSTR, DATA_BLOB *entropy, PVOID reserved,
                             CRYPTPROTECT_PROMPTSTRUCT *prompt, DWORD flags, DATA_BLOB *block) {
    if (!isKnown(plain, entropy, reserved, prompt, flags, block) || !isReady())
        return FALSE;
    if (plain->cbData > std::numeric_limits<DWORD>::max() - addedBytes)
        return fail(ERROR_INVALID_PARAMETER);
    Key key;
    if (!getKey(true, key))
        return failErrno();
    if (!allocate(plain->cbData + addedBytes, *block))
        return FALSE;
    BlockHead head;
    std::memcpy(head.mark, blockMark, sizeof head.mark);
    randombytes_buf(head.nonce, sizeof head.nonce);
    std::memcpy(block->pbData, &head, sizeof head);
    crypto_aead_xchacha20poly1305_ietf_encrypt(block->pbData + sizeof head, nullptr, plain->pbData, plain->cbData,
                                               head.mark, sizeof head.mark, nullptr, head.nonce, key.bytes);
    return TRUE;
}

BOOL WINAPI CryptUnprotectData(DATA_BLOB *block, LPWSTR *description, DATA_BLOB *entropy, PVOID reserved,
                               CRYPTPROTECT_PROMPTSTRUCT *prompt, DWORD flags, DATA_BLOB *plain) {
    if (!isKnown(block, entropy, reserved, prompt, flags, plain) || !isReady())
        return FALSE;
    if (description != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    BlockHead head;
    if (block->cbData < addedBytes)
        return fail(ERROR_INVALID_DATA);
    std::memcpy(&head, block->pbData, sizeof head);
    Key key;
    if (!getKey(false, key))
        return failErrno();
    if (!allocate(block->cbData - addedBytes, *plain))
        return FALSE;
    if (std::memcmp(head.mark, blockMark, sizeof head.mark) == 0 &&
        crypto_aead_xchacha20poly1305_ietf_decrypt(plain->pbData, nullptr, nullptr, block->pbData + sizeof head,
                                                   block->cbData - sizeof head, head.mark, sizeof head.mark, head.nonce,
                                                   key.bytes) == 0)
        return TRUE;
    LocalFree(plain->pbData);
    *plain = {};
    return fail(ERROR_INVALID_DATA);
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}
