#include "windows/commands.h"

#include "core/operations.h"
#include "i18n/language.h"
#include "platform/text.h"
#include "platform/win32.h"
#include "ui/controls.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/history_window.h"
#include "windows/large_files_window.h"
#include "windows/main_window.h"
#include "windows/notify_icon.h"
#include "windows/preview.h"
#include "windows/widget.h"

#include <array>

namespace dm {
namespace {

using ui::mainView;
using ui::PageId;
namespace id = ui::id;

constexpr std::array<const char *, 3> themes = {"system", "light", "dark"};

void showPage(PageId page) {
    mainView.currentPage = page;
    ui::layoutMainWindow();
}

void showDrives() {
    refreshDrives();
    showPage(PageId::DiskSpace);
}

void openWebsite() {
    ShellExecuteW(mainView.window, W("open"), W("") DUSTMERE_WEBSITE, nullptr, nullptr, SW_SHOWNORMAL);
}

void flipCategory(bool &selected) {
    selected = !selected;
    ui::layoutMainWindow();
}

/// Screen readers do not see the setting itself change.
void announceToggle(int id) {
    NotifyWinEvent(EVENT_OBJECT_STATECHANGE, ui::mainControl(id), OBJID_CLIENT, CHILDID_SELF);
}

void flipToggle(int id, bool &setting) {
    setting = !setting;
    storeSettings();
    announceToggle(id);
    ui::layoutMainWindow();
}

void flipConsent() {
    mainView.settings.consentChosen = true;
    flipToggle(id::analytics, mainView.settings.consent);
}

void applyLook() {
    storeSettings();
    ui::applyTheme();
    refreshAllWindows();
    ui::layoutMainWindow();
}

void chooseTheme(int index) {
    mainView.settings.theme = themes[static_cast<std::size_t>(index)];
    applyLook();
}

void chooseAccent(int index) {
    mainView.settings.palette = ui::accents[static_cast<std::size_t>(index)].setting;
    applyLook();
}

void cancel() {
    cancelOperation();
    ui::layoutMainWindow();
}

} // namespace

void handleCommand(int id) {
    if (id >= id::themeSystem && id <= id::themeDark)
        return chooseTheme(id - id::themeSystem);
    if (id >= id::firstAccent && id <= id::lastAccent)
        return chooseAccent(id - id::firstAccent);
    switch (id) {
    case id::cleanupPage:
        return showPage(PageId::Cleanup);
    case id::diskPage:
    case id::details:
        return showDrives();
    case id::helpPage:
        return showPage(PageId::Help);
    case id::website:
        return openWebsite();
    case id::settingsPage:
        return showPage(PageId::Settings);
    case id::scan:
        return startScan();
    case id::clean:
        return startClean();
    case id::cancel:
        return cancel();
    case id::viewFiles:
        return openPreview();
    case id::temporaryFiles:
        return flipCategory(mainView.selection.temp);
    case id::browserCache:
        return flipCategory(mainView.selection.browser);
    case id::recycleBin:
        return flipCategory(mainView.selection.recycleBin);
    case id::closeBrowsers:
        return flipToggle(id, mainView.settings.closeBrowsers);
    case id::skipFilesInUse:
        return flipToggle(id, mainView.settings.skipLocked);
    case id::analytics:
        return flipConsent();
    case id::history:
        return openHistory();
    case id::widget:
        return flipWidget();
    case id::largeFiles:
        return openLargeFiles();
    default:
        return ui::layoutMainWindow();
    }
}

void flipWidget() {
    mainView.settings.widgetEnabled = !mainView.settings.widgetEnabled;
    storeSettings();
    syncWidget();
    announceToggle(id::widget);
    ui::layoutMainWindow();
}

void refreshLanguage() {
    setLanguage(mainView.settings.language);
    ui::retranslateControls();
    ui::fillLanguageList();
    ui::rebuildFonts();
    rebuildResultLines();
    refreshAllWindows();
    updateNotifyTip();
}

void chooseLanguage() {
    const LRESULT index = SendMessageW(ui::mainControl(id::language), CB_GETCURSEL, 0, 0);
    const std::vector<LanguageChoice> &languages = languageList();
    if (index < 0 || static_cast<std::size_t>(index) >= languages.size())
        return;
    mainView.settings.language = languages[static_cast<std::size_t>(index)].code;
    refreshLanguage();
    storeSettings();
    ui::layoutMainWindow();
}

} // namespace dm
