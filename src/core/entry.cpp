#include "core/entry.h"

#include "core/json_sanity.h"
#include "core/message_loop.h"
#include "data/history.h"
#include "engine/self_test.h"
#include "platform/text.h"
#include "ui/main_view.h"

namespace dm {

namespace {

constexpr int exitPassed = 0;
constexpr int exitSelfTestFailed = 11;

enum class RunMode { Normal, Smoke, SelfTest };

// The options are searched for as plain text, also inside a longer word; the first one wins.
RunMode chooseRunMode(LPCWSTR commandLine) {
    const WStringView text = commandLine == nullptr ? WStringView() : WStringView(commandLine);
    if (text.find(W("--self-test")) != WStringView::npos)
        return RunMode::SelfTest;
    if (text.find(W("--smoke-quit")) != WStringView::npos)
        return RunMode::Smoke;
    return RunMode::Normal;
}

// Whatever is thrown, memory running out say, is a failure like any other.
bool provesItself(WString &failure) noexcept {
    try {
        return checkJsonSanity() && runSelfTest(failure);
    } catch (...) {
        return false;
    }
}

/// Shows nothing: the exit code and the record are the whole report.
int runSelfTestMode() {
    WString failure;
    const bool passed = provesItself(failure);
    try {
        appendHistoryMessage(passed ? W("Самопроверка пройдена.") : W("Самопроверка не пройдена."), failure);
    } catch (...) {
        // The history never disturbs what it records; the exit code still tells.
    }
    CoUninitialize();
    return passed ? exitPassed : exitSelfTestFailed;
}

} // namespace

} // namespace dm

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, LPWSTR commandLine, int showCommand) {
    dm::moduleInstance = instance;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const dm::RunMode mode = dm::chooseRunMode(commandLine);
    if (mode == dm::RunMode::SelfTest)
        return dm::runSelfTestMode();
    dm::ui::mainView.smokeQuit = mode == dm::RunMode::Smoke;
    return dm::runWindowed(showCommand);
}
