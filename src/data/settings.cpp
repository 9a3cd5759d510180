#include "data/settings.h"

#include "core/handles.h"
#include "data/data_folder.h"
#include "data/json.h"
#include "i18n/language.h"
#include "platform/win32.h"

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <stdexcept>

namespace dm {

namespace {

constexpr std::int64_t largestFile = 0x40000;
constexpr std::int32_t leastOpacity = 20;
constexpr std::int32_t mostOpacity = 100;
constexpr std::int32_t farthestPosition = 100000;

constexpr std::array<std::string_view, 3> themes = {"system", "light", "dark"};
constexpr std::array<std::string_view, 6> palettes = {"emerald", "blue", "violet", "amber", "rose", "teal"};

WString settingsPath() {
    return dataFolder() + W("\\state.dat");
}

/// What CryptProtectData and CryptUnprotectData give.
struct OwnedBlob {
    DATA_BLOB blob = {};

    OwnedBlob() = default;
    OwnedBlob(const OwnedBlob &) = delete;
    OwnedBlob &operator=(const OwnedBlob &) = delete;
    ~OwnedBlob() { LocalFree(blob.pbData); }

    std::string_view bytes() const { return {reinterpret_cast<const char *>(blob.pbData), blob.cbData}; }
};

/// The calls do not write to their input, although its type would let them.
DATA_BLOB blobOf(std::string_view bytes) {
    return {static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE *>(const_cast<char *>(bytes.data()))};
}

/// The whole file; empty if there is none that can be read, or one of a size that no settings have.
std::string readFile(const WString &path) {
    const OwnedHandle file(
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER size = {};
    if (!file || !GetFileSizeEx(file.get(), &size) || size.QuadPart < 1 || size.QuadPart > largestFile)
        return {};
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) || read != bytes.size())
        return {};
    return bytes;
}

/// The document in the file, or an empty text.
std::string readProtectedDocument() {
    try {
        const std::string bytes = readFile(settingsPath());
        DATA_BLOB block = blobOf(bytes);
        OwnedBlob plain;
        if (!bytes.empty() &&
            CryptUnprotectData(&block, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &plain.blob))
            return std::string(plain.bytes());
    } catch (const std::runtime_error &) {
        // Without a data folder there are no stored settings.
    }
    return {};
}

bool requiredBool(const JsonValue &object, std::string_view key) {
    const JsonValue &value = jsonField(object, key);
    if (value.kind != JsonKind::Boolean)
        throw std::runtime_error("JSON bool expected");
    return value.boolean;
}

/// An integer member from `least` to `most`; nothing if it is missing, malformed or out of range.
std::optional<std::int32_t> integerBetween(const JsonValue &object, std::string_view key, std::int32_t least,
                                           std::int32_t most) {
    try {
        const std::int64_t value = jsonInteger(jsonField(object, key));
        if (value >= least && value <= most)
            return static_cast<std::int32_t>(value);
    } catch (const std::exception &) {
        // As good as missing.
    }
    return std::nullopt;
}

void readWidgetPosition(const JsonValue &root, Settings &settings) {
    const auto x = integerBetween(root, "widget_x", -farthestPosition, farthestPosition);
    const auto y = integerBetween(root, "widget_y", -farthestPosition, farthestPosition);
    settings.widgetPositionSaved = jsonBoolOr(root, "widget_position_saved", false) && x && y;
    settings.widgetX = settings.widgetPositionSaved ? *x : 0;
    settings.widgetY = settings.widgetPositionSaved ? *y : 0;
}

/// Throws at the first of the required members that is not there; what was read by then stays.
void readMembers(const JsonValue &root, Settings &settings) {
    settings.consent = requiredBool(root, "consent");
    settings.closeBrowsers = requiredBool(root, "close_browsers");
    settings.consentChosen = requiredBool(root, "consent_chosen");
    settings.theme = jsonStringOr(root, "theme", settings.theme);
    settings.palette = jsonStringOr(root, "palette", settings.palette);
    settings.language = jsonStringOr(root, "language", settings.language);
    settings.widgetEnabled = jsonBoolOr(root, "widget_enabled", false);
    settings.widgetOpacity = integerBetween(root, "widget_opacity", leastOpacity, mostOpacity).value_or(mostOpacity);
    settings.skipLocked = jsonBoolOr(root, "skip_locked", true);
    readWidgetPosition(root, settings);
}

bool isPosition(std::int32_t coordinate) {
    return coordinate >= -farthestPosition && coordinate <= farthestPosition;
}

} // namespace

Settings loadSettings() {
    Settings settings = readSettingsDocument(readProtectedDocument());
    repairSettings(settings);
    return settings;
}

void saveSettings(const Settings &settings) {
    Settings repaired = settings;
    repairSettings(repaired);
    const std::string document = settingsDocument(repaired);
    DATA_BLOB plain = blobOf(document);
    OwnedBlob block;
    if (!CryptProtectData(&plain, W("Dustmere user state"), nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN,
                          &block.blob))
        throw std::runtime_error("DPAPI");
    atomicSave(settingsPath(), block.bytes());
}

void repairSettings(Settings &settings) {
    if (std::find(themes.begin(), themes.end(), settings.theme) == themes.end())
        settings.theme = "system";
    if (std::find(palettes.begin(), palettes.end(), settings.palette) == palettes.end())
        settings.palette = "emerald";
    if (!isValidLanguage(settings.language))
        settings.language = "system";
    if (settings.widgetOpacity < leastOpacity || settings.widgetOpacity > mostOpacity)
        settings.widgetOpacity = mostOpacity;
    if (!isPosition(settings.widgetX) || !isPosition(settings.widgetY))
        settings.widgetPositionSaved = false;
    if (!settings.widgetPositionSaved)
        settings.widgetX = settings.widgetY = 0;
}

std::string settingsDocument(const Settings &settings) {
    const auto flag = [](bool value) { return value ? "true" : "false"; };
    std::string document = "{\"consent\":";
    document.append(flag(settings.consent));
    document.append(",\"close_browsers\":").append(flag(settings.closeBrowsers));
    document.append(",\"consent_chosen\":").append(flag(settings.consentChosen));
    document.append(",\"theme\":").append(jsonQuote(settings.theme));
    document.append(",\"palette\":").append(jsonQuote(settings.palette));
    document.append(",\"language\":").append(jsonQuote(settings.language));
    document.append(",\"widget_enabled\":").append(flag(settings.widgetEnabled));
    document.append(",\"widget_opacity\":").append(std::to_string(settings.widgetOpacity));
    document.append(",\"widget_position_saved\":").append(flag(settings.widgetPositionSaved));
    document.append(",\"widget_x\":").append(std::to_string(settings.widgetX));
    document.append(",\"widget_y\":").append(std::to_string(settings.widgetY));
    document.append(",\"skip_locked\":").append(flag(settings.skipLocked));
    return document.append("}");
}

Settings readSettingsDocument(std::string_view document) {
    Settings settings;
    try {
        readMembers(parseJson(document), settings);
    } catch (const std::exception &) {
        // Damaged from here on: what follows keeps its defaults.
    }
    return settings;
}

} // namespace dm
