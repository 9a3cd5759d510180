// Any bytes as a document of settings: whatever it is, what is read is valid once repaired, and is then stored and read
// again unchanged.
#include "data/settings.h"
#include "require.h"

#include <cstdint>
#include <string>
#include <string_view>

using namespace dm;

// NOLINTNEXTLINE(readability-identifier-naming): the name that libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Settings settings = readSettingsDocument({reinterpret_cast<const char *>(data), size});
    require(settings.widgetOpacity >= 20 && settings.widgetOpacity <= 100, "no opacity out of range is read");
    require(settings.widgetPositionSaved || (settings.widgetX == 0 && settings.widgetY == 0), "no position by half");
    const Settings read = settings;
    repairSettings(settings);
    const Settings repaired = settings;
    repairSettings(settings);
    require(settings == repaired, "what is repaired needs no repair");
    require(read.widgetX == repaired.widgetX && read.widgetY == repaired.widgetY &&
                read.widgetOpacity == repaired.widgetOpacity,
            "numbers need no repair once they are read");
    const std::string document = settingsDocument(repaired);
    require(document.size() < 400, "a document is short, whatever it was made from");
    require(readSettingsDocument(document) == repaired, "what is stored is read again unchanged");
    return 0;
}
