#include "files.h"
#include "namespaces.h"
#include "platform/linux/base_folders.h"
#include "platform/win32.h"
#include "traced.h"

#include <optional>

#include <sys/mount.h>

namespace dm {
namespace {

using namespace test;

std::string keyFolder() {
    return platform::baseFolders().configHome + "/dustmere";
}
std::string keyPath() {
    return keyFolder() + "/protection.key";
}

using Call = BOOL (*)(DATA_BLOB *in, DATA_BLOB *out);

std::optional<std::string> resultOf(Call call, std::string bytes) {
    DATA_BLOB in = {static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE *>(bytes.data())};
    DATA_BLOB out = {};
    if (!call(&in, &out))
        return std::nullopt;
    const std::string given(reinterpret_cast<const char *>(out.pbData), out.cbData);
    LocalFree(out.pbData);
    return given;
}
std::optional<std::string> protect(const std::string &bytes) {
    const Call call = [](DATA_BLOB *in, DATA_BLOB *out) {
        return CryptProtectData(in, W("test"), nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, out);
    };
    return resultOf(call, bytes);
}
std::optional<std::string> unprotect(const std::string &bytes) {
    const Call call = [](DATA_BLOB *in, DATA_BLOB *out) {
        return CryptUnprotectData(in, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, out);
    };
    return resultOf(call, bytes);
}

TEST(Protect, KeyIsForThisUserAloneAndApartFromTheData) {
    fs::remove_all(keyFolder());
    EXPECT_FALSE(unprotect(std::string(100, 'x')));
    EXPECT_FALSE(fs::exists(keyFolder())); // to look is no reason to make one
    const auto block = protect("a");
    ASSERT_TRUE(block);
    EXPECT_EQ(fs::status(keyFolder()).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(keyPath()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(std::distance(fs::directory_iterator(keyFolder()), {}), 1);
    EXPECT_FALSE(keyPath().starts_with(platform::baseFolders().dataHome));
    EXPECT_NE(protect("a"), block); // a nonce of its own for each
    EXPECT_EQ(unprotect(*block), "a");
    EXPECT_EQ(unprotect(protect("").value()), "");
}

TEST(Protect, DamagedKeyIsRefusedAndLeftAlone) {
    const auto block = protect("a");
    ASSERT_TRUE(block);
    const std::string whole = readFile(keyPath());
    const auto expectRefusal = [&] {
        EXPECT_FALSE(protect("b"));
        EXPECT_FALSE(unprotect(*block));
    };
    for (std::size_t at = 0; at < whole.size(); at += 9) {
        std::string flipped = whole;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        for (const std::string &damaged : {whole.substr(0, at), whole + whole.substr(0, at + 1), flipped}) {
            makeFile(keyPath(), damaged);
            expectRefusal();
            EXPECT_EQ(readFile(keyPath()), damaged);
        }
    }
    makeFile(keyPath(), whole);
    fs::permissions(keyPath(), fs::perms::group_read, fs::perm_options::add);
    expectRefusal();
    fs::permissions(keyPath(), fs::perms::group_read, fs::perm_options::remove);
    fs::rename(keyPath(), keyFolder() + "/elsewhere");
    fs::create_symlink("elsewhere", keyPath());
    expectRefusal();
    fs::rename(keyFolder() + "/elsewhere", keyPath());
    EXPECT_EQ(unprotect(*block), "a");
}

/// One process is stopped before every system call of its first use in turn; there a second one makes the key, or
/// waits for it.
TEST(Protect, TwoProcessesAgreeOnOneKeyAtEveryMoment) {
    const Scratch scratch;
    const auto work = [&](const char *name) { makeFile(scratch.path(name), protect(name).value_or("")); };
    atEveryCall([] { fs::remove_all(keyFolder()); }, [&] { work("first"); },
                [&](TracedProcess &first) {
                    TracedProcess second([&] { work("second"); });
                    while (second.step() && second.call() != SYS_clock_nanosleep) {
                    }
                    ASSERT_TRUE(first.finish() && second.finish());
                    ASSERT_EQ(unprotect(scratch.read("second")), "second");
                },
                [&] { ASSERT_EQ(unprotect(scratch.read("first")), "first"); });
}

TEST(Protect, FullDiskLeavesNoKey) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_EQ(mkdir(keyFolder().c_str(), S_IRWXU), 0) << keyFolder();
        ASSERT_EQ(mount("tmpfs", keyFolder().c_str(), "tmpfs", MS_NOSUID, "size=64k,mode=700"), 0);
        makeFile(keyFolder() + "/filler", std::string(64 * 1024, 'x'));
        EXPECT_FALSE(protect("a"));
        EXPECT_EQ(std::distance(fs::directory_iterator(keyFolder()), {}), 1);
        fs::remove(keyFolder() + "/filler");
        EXPECT_TRUE(protect("a"));
    });
}

} // namespace
} // namespace dm
