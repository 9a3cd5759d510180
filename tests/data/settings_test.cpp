#include "data/settings.h"

#include "as_user.h"
#include "data/data_folder.h"
#include "files.h"
#include "platform/linux/base_folders.h"
#include "platform/win32.h"
#include "traced.h"

#include <climits>

#include <sys/mount.h>

namespace dm {
namespace {

using namespace test;

/// No value is its default.
const Settings otherSettings = {true, true, true, "dark", "rose", "de", true, 20, true, -7, 100000, false};

std::string dataPath() {
    return platform::linuxPath(dataFolder());
}
std::string statePath() {
    return dataPath() + "/state.dat";
}
std::string keyPath() {
    return platform::baseFolders().configHome + "/dustmere/protection.key";
}

Settings readRepaired(const std::string &document) {
    Settings settings = readSettingsDocument(document);
    repairSettings(settings);
    return settings;
}

std::string failureOfSave(const Settings &settings) {
    return failureOf([&] { saveSettings(settings); });
}

/// Protects any bytes as the settings are.
void storeProtected(std::string document) {
    DATA_BLOB plain = {static_cast<DWORD>(document.size()), reinterpret_cast<BYTE *>(document.data())};
    DATA_BLOB block = {};
    ASSERT_TRUE(CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &block));
    makeFile(statePath(), {reinterpret_cast<const char *>(block.pbData), block.cbData});
    LocalFree(block.pbData);
}

TEST(Settings, FirstStartGivesDefaultsAndLaterOnesWhatWasSaved) {
    fs::remove(statePath());
    EXPECT_EQ(loadSettings(), Settings());
    EXPECT_EQ(
        settingsDocument(loadSettings()),
        R"({"consent":false,"close_browsers":false,"consent_chosen":false,"theme":"system","palette":"emerald",)"
        R"("language":"system","widget_enabled":false,"widget_opacity":100,"widget_position_saved":false,"widget_x":0,)"
        R"("widget_y":0,"skip_locked":true})");
    saveSettings(otherSettings);
    EXPECT_EQ(loadSettings(), otherSettings);
    EXPECT_EQ(readFile(statePath()).find("dark"), std::string::npos);
}

TEST(Settings, OnlyValidValuesAreStored) {
    for (const std::int32_t opacity : {20, 100})
        for (const std::int32_t position : {-100000, 0, 100000}) {
            Settings atLimits = otherSettings;
            atLimits.widgetOpacity = opacity;
            atLimits.widgetX = atLimits.widgetY = position;
            EXPECT_EQ(readRepaired(settingsDocument(atLimits)), atLimits);
        }
    for (const std::int32_t number : {INT_MIN, -100001, 100001, INT_MAX}) {
        Settings invalid = {true, false, true, "\"\\\x01\xFF", "Rose", "RU", true, number, true, 7, number, true};
        const Settings expected = {true, false, true, "system", "emerald", "system", true, 100, false, 0, 0, true};
        EXPECT_EQ(readRepaired(settingsDocument(invalid)), expected); // as another program might have stored it
        saveSettings(invalid);
        EXPECT_EQ(loadSettings(), expected);
        repairSettings(invalid);
        EXPECT_EQ(invalid, expected);
    }
}

TEST(Settings, MembersThatAreNotValidGiveTheirDefaults) {
    for (const char *members : {
             R"("theme":1,"palette":null,"language":["de"])",
             R"("theme":"Dark","palette":"blue ","language":"RU")",
             R"("skip_locked":"false","widget_enabled":1)",
             R"("widget_opacity":19)",
             R"("widget_opacity":50.0)",
             R"("widget_opacity":99999999999999999999)",
             R"("widget_opacity":4294967346)", // 50 in its low 32 bits
             R"("widget_position_saved":true,"widget_x":100001,"widget_y":7)",
             R"("widget_position_saved":true,"widget_x":5,"widget_y":-100001)",
             R"("widget_position_saved":true,"widget_x":5)",
             R"("widget_position_saved":true,"widget_x":"5","widget_y":7)",
             R"("widget_position_saved":false,"widget_x":5,"widget_y":7)",
         })
        EXPECT_EQ(readRepaired(R"({"consent":false,"close_browsers":false,"consent_chosen":false,)" +
                               std::string(members) + "}"),
                  Settings())
            << members;
}

TEST(Settings, FirstRequiredMemberThatFailsEndsTheReading) {
    const struct {
        const char *document;
        bool consent;
        bool closeBrowsers;
    } cases[] = {
        {R"({"consent":true,"close_browsers":true,"theme":"dark"})", true, true},
        {R"({"consent":true,"close_browsers":1,"consent_chosen":true,"theme":"dark"})", true, false},
        {R"({"theme":"dark"})", false, false},
        {R"({"consent":true,"consent":true,"close_browsers":true,"consent_chosen":true})", false, false},
        {R"({"consent":true,"close_browsers":true,"consent_chosen":true}x)", false, false},
        {R"([true])", false, false},
    };
    for (const auto &[document, consent, closeBrowsers] : cases) {
        Settings expected;
        expected.consent = consent;
        expected.closeBrowsers = closeBrowsers;
        EXPECT_EQ(readSettingsDocument(document), expected) << document;
    }
}

TEST(Settings, SizesBeyondTheLimitsGiveDefaults) {
    const std::string document = settingsDocument(otherSettings);
    for (const std::size_t size : {131072U, 131073U}) {
        storeProtected(document + std::string(size - document.size(), ' '));
        EXPECT_EQ(loadSettings(), size == 131072 ? otherSettings : Settings());
    }
    for (const std::size_t size : {0U, 1U, 262144U, 262145U}) {
        makeFile(statePath(), std::string(size, 'x'));
        EXPECT_EQ(loadSettings(), Settings()) << size;
    }
}

TEST(Settings, AlteredFileGivesDefaults) {
    saveSettings(otherSettings);
    const std::string whole = readFile(statePath());
    std::vector<std::string> damaged = {whole + '\0', whole + whole, ' ' + whole};
    for (std::size_t at = 0; at < whole.size(); ++at) {
        damaged.push_back(whole);
        damaged.back()[at] = static_cast<char>(whole[at] ^ (1 << at % 8));
        damaged.push_back(whole.substr(0, at));
        damaged.push_back(whole.substr(at + 1));
    }
    for (const std::string &content : damaged) {
        makeFile(statePath(), content);
        ASSERT_EQ(loadSettings(), Settings());
    }
    makeFile(statePath(), whole);
    EXPECT_EQ(loadSettings(), otherSettings);
}

TEST(Settings, AnotherUsersFileGivesDefaultsEvenWithTheKey) {
    runAsOrdinaryUser(
        [](const std::string &shared) {
            saveSettings(Settings()); // which makes the folders
            makeFile(keyPath(), readFile(shared + "/key"));
            makeFile(statePath(), readFile(shared + "/state"));
            EXPECT_GT(fs::file_size(statePath()), 0U);
            EXPECT_EQ(loadSettings(), Settings());
            saveSettings(otherSettings); // the key itself is good
            EXPECT_EQ(loadSettings(), otherSettings);
        },
        [](const std::string &shared) {
            saveSettings(otherSettings);
            makeFile(shared + "/key", readFile(keyPath()));
            makeFile(shared + "/state", readFile(statePath()));
        });
}

TEST(Settings, AnotherMachinesFileGivesDefaultsEvenWithTheKey) {
    if (!fs::exists("/etc/machine-id"))
        GTEST_SKIP() << "This machine has no number.";
    runIsolated(Isolation::Processes, [] {
        saveSettings(otherSettings);
        const Scratch scratch;
        const std::string other = scratch.file("machine-id", "0123456789abcdef0123456789abcdef\n");
        ASSERT_EQ(mount(other.c_str(), "/etc/machine-id", nullptr, MS_BIND, nullptr), 0);
        EXPECT_EQ(loadSettings(), Settings());
        ASSERT_EQ(umount("/etc/machine-id"), 0);
        EXPECT_EQ(loadSettings(), otherSettings);
    });
}

TEST(Settings, FailedSaveKeepsTheOldFile) {
    runAsOrdinaryUser([](const std::string &) {
        saveSettings(otherSettings);
        fs::permissions(dataPath(), fs::perms::owner_read | fs::perms::owner_exec);
        EXPECT_EQ(failureOfSave(Settings()), "cannot save settings");
        fs::permissions(dataPath(), fs::perms::owner_all);
        fs::permissions(keyPath(), fs::perms::owner_all | fs::perms::others_read);
        EXPECT_EQ(failureOfSave(Settings()), "DPAPI");
        fs::permissions(keyPath(), fs::perms::owner_read);
        EXPECT_EQ(loadSettings(), otherSettings);
    });
}

/// Every save is a first one here, which makes the key and the folders too.
TEST(Settings, ProcessKilledAtAnyMomentLeavesNothingHalf) {
    const auto prepare = [] {
        fs::remove_all(dataPath());
        fs::remove_all(fs::path(keyPath()).parent_path());
    };
    const auto check = [] {
        ASSERT_EQ(loadSettings(), fs::exists(statePath()) ? otherSettings : Settings());
        const std::string key = readFile(keyPath());
        ASSERT_EQ(failureOfSave(otherSettings), "");
        ASSERT_EQ(loadSettings(), otherSettings);
        ASSERT_TRUE(key.empty() || readFile(keyPath()) == key);
    };
    atEveryCall(
        prepare, [] { saveSettings(otherSettings); }, [](TracedProcess &process) { process.endByKill(); }, check);
}

} // namespace
} // namespace dm
