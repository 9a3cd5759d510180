// What the main window's controls stand for, and what a screen reader says of them.
#include "ui/controls.h"

#include "core/operations.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "ui/main_view.h"

namespace dm::ui {
namespace {

WString joined(const WString &first, const WString &second) {
    return first + W(" · ") + second;
}

WString selectedWord(bool selected) {
    return tr(selected ? W("Выбрано") : W("Не выбрано"));
}

WString cleanText() {
    if (!operationState().hasScanResult)
        return tr(W("Сначала нужен анализ"));
    return tr(controlLabel(id::clean)) + W(" ") + formatSize(selectedBytes());
}

} // namespace

bool isToggleOn(int id) {
    const Settings &settings = mainView.settings;
    switch (id) {
    case id::closeBrowsers:
        return settings.closeBrowsers;
    case id::skipFilesInUse:
        return settings.skipLocked;
    case id::analytics:
        return settings.consent;
    case id::widget:
        return settings.widgetEnabled;
    default:
        return false;
    }
}

bool isCategorySelected(int id) {
    const CleanSelection &selection = mainView.selection;
    switch (id) {
    case id::temporaryFiles:
        return selection.temp;
    case id::browserCache:
        return selection.browser;
    case id::recycleBin:
        return selection.recycleBin;
    default:
        return false;
    }
}

bool isChosen(int id) {
    const Settings &settings = mainView.settings;
    switch (id) {
    case id::themeSystem:
        return settings.theme == "system";
    case id::themeLight:
        return settings.theme == "light";
    case id::themeDark:
        return settings.theme == "dark";
    default:
        return id >= id::firstAccent && id <= id::lastAccent && accentOf(id).setting == settings.palette;
    }
}

const Accent &accentOf(int id) {
    return accents.at(static_cast<std::size_t>(id - id::firstAccent));
}

std::uint64_t categoryBytes(int id) {
    const ScanResult &scan = operationState().scanResult;
    switch (id) {
    case id::temporaryFiles:
        return scan.bytesByCategory[static_cast<std::size_t>(CleanCategory::Temp)];
    case id::browserCache:
        return scan.bytesByCategory[static_cast<std::size_t>(CleanCategory::Browser)];
    case id::recycleBin:
        return scan.recycleBytes;
    default:
        return 0;
    }
}

std::uint64_t foundBytes() {
    return categoryBytes(id::temporaryFiles) + categoryBytes(id::browserCache) + categoryBytes(id::recycleBin);
}

std::uint64_t selectedBytes() {
    std::uint64_t bytes = 0;
    for (const int row : {id::temporaryFiles, id::browserCache, id::recycleBin})
        bytes += isCategorySelected(row) ? categoryBytes(row) : 0;
    return bytes;
}

WString spokenText(int id) {
    const WString label = tr(controlLabel(id));
    switch (controlKind(id)) {
    case ControlKind::CategoryRow:
        return joined(joined(label, formatSize(categoryBytes(id))), selectedWord(isCategorySelected(id)));
    case ControlKind::Toggle:
        return joined(label, tr(isToggleOn(id) ? W("Включено") : W("Выключено")));
    case ControlKind::Swatch:
        return isChosen(id) ? joined(selectedWord(true), label) : label;
    default:
        break;
    }
    if (id == id::clean)
        return cleanText();
    if (id == id::scan)
        return operationState().hasScanResult ? tr(W("Повторить анализ")) : label;
    return {};
}

} // namespace dm::ui
