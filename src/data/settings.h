// The user's preferences and the file that keeps them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace dm {

struct Settings {
    bool consent = false;            ///< the user has allowed the optional usage event
    bool closeBrowsers = false;      ///< a clean-up first asks running browsers to close
    bool consentChosen = false;      ///< the user has made a choice about `consent`
    std::string theme = "system";    ///< "system", "light" or "dark"
    std::string palette = "emerald"; ///< "emerald", "blue", "violet", "amber", "rose" or "teal"
    std::string language = "system"; ///< "system" or the code of a language
    bool widgetEnabled = false;
    std::int32_t widgetOpacity = 100; ///< percentage, 20 to 100
    bool widgetPositionSaved = false;
    std::int32_t widgetX = 0; ///< screen coordinates, -100000 to 100000; 0 where none are saved
    std::int32_t widgetY = 0;
    bool skipLocked = true; ///< a clean-up skips files in use at once

    bool operator==(const Settings &) const = default;
};

/// The stored settings. What is absent, out of range or of the wrong kind gives its default; so does everything where
/// there is no file, or one that is damaged or was protected by another user or on another machine.
Settings loadSettings();

/// Stores a repaired copy. Throws a runtime error "DPAPI" if it cannot be protected, and what dataFolder and atomicSave
/// throw; the stored settings then stay as they were.
void saveSettings(const Settings &settings);

/// Gives each value that is not valid its default.
void repairSettings(Settings &settings);

/// The document that is stored, before it is protected, and the settings that a document holds, whatever it is. The
/// settings are not repaired on either way.
std::string settingsDocument(const Settings &settings);
Settings readSettingsDocument(std::string_view document);

} // namespace dm
