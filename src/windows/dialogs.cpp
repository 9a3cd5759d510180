#include "windows/dialogs.h"

#include "core/entry.h"
#include "core/version.h"
#include "i18n/language.h"
#include "ui/main_view.h"

#include <array>

namespace dm {
namespace {

constexpr UINT buttonBits = 0x0000000FU;
constexpr UINT iconBits = 0x000000F0U;
constexpr UINT defaultBits = 0x00000F00U;
constexpr UINT dialogWidth = 360; // dialog units

/// Task dialogs have no icon for a question: that one shows the icon for information.
const WChar *dialogIcon(UINT flags) {
    switch (flags & iconBits) {
    case MB_ICONWARNING:
        return TD_WARNING_ICON;
    case MB_ICONERROR:
        return TD_ERROR_ICON;
    default:
        return TD_INFORMATION_ICON;
    }
}

/// Gives false where the system has no task dialogs.
bool askByTaskDialog(const WString &text, const WString &caption, UINT flags, int &answer) {
    const WString yes = tr(W("Да"));
    const WString no = tr(W("Нет"));
    const WString ok = tr(W("ОК"));
    const std::array<TASKDIALOG_BUTTON, 2> yesNo = {{{IDYES, yes.c_str()}, {IDNO, no.c_str()}}};
    const TASKDIALOG_BUTTON onlyOk = {IDOK, ok.c_str()};
    const bool choice = (flags & buttonBits) == MB_YESNO;

    TASKDIALOGCONFIG config = {};
    config.cbSize = sizeof(config);
    config.hwndParent = ui::mainView.window;
    config.hInstance = moduleInstance;
    config.dwFlags = TDF_ALLOW_DIALOG_CANCELLATION | TDF_POSITION_RELATIVE_TO_WINDOW;
    if (isRightToLeft())
        config.dwFlags |= TDF_RTL_LAYOUT;
    config.pszWindowTitle = caption.c_str();
    config.pszMainIcon = dialogIcon(flags);
    config.pszContent = text.c_str();
    config.cButtons = choice ? yesNo.size() : 1;
    config.pButtons = choice ? yesNo.data() : &onlyOk;
    config.nDefaultButton = config.pButtons->nButtonID;
    if (choice && (flags & defaultBits) == MB_DEFBUTTON2)
        config.nDefaultButton = IDNO;
    config.cxWidth = dialogWidth;
    return SUCCEEDED(TaskDialogIndirect(&config, &answer, nullptr, nullptr));
}

} // namespace

ModalScope::ModalScope() {
    ++operationState().modalDepth;
}

ModalScope::~ModalScope() {
    OperationState &state = operationState();
    if (--state.modalDepth == 0 && (state.closeDeferred || ui::mainView.hidePending))
        PostMessageW(ui::mainView.window, WM_APP_AFTER_MODAL, 0, 0);
}

int showMessage(const WString &text, const WString &caption, UINT flags) {
    const ModalScope modal;
    const WString shownText = tr(text);
    const WString shownCaption = tr(caption);
    int answer = 0;
    if (askByTaskDialog(shownText, shownCaption, flags, answer))
        return answer;
    const UINT reading = isRightToLeft() ? MB_RTLREADING | MB_RIGHT : 0;
    return MessageBoxW(ui::mainView.window, shownText.c_str(), shownCaption.c_str(), flags | reading);
}

int showNotice(const WString &text, UINT flags) {
    return showMessage(text, productTitle, flags);
}

} // namespace dm
