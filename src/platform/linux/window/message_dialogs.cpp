#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"

#include <QLayout>
#include <QMessageBox>
#include <QPushButton>

#include <algorithm>
#include <vector>

namespace dm::platform {
namespace {

struct Choice {
    int id;
    QString text;
};

struct Question {
    HWND owner = nullptr;
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    std::vector<Choice> choices;
    int defaultId = 0; ///< 0: the first
    bool cancellable = false;
    bool rightToLeft = false;
    int width = 0; ///< in dialog units; 0: by the text
};

void widen(QMessageBox &box, int dialogUnits) {
    // Four horizontal dialog units are an average character.
    const int width = dialogUnits * box.fontMetrics().averageCharWidth() / 4;
    if (auto *grid = qobject_cast<QGridLayout *>(box.layout()))
        grid->addItem(new QSpacerItem(width, 0), grid->rowCount(), 0, 1, grid->columnCount());
}

QWidget *widgetOfOwner(HWND owner) {
    const Pane *pane = owner == nullptr ? nullptr : paneOf(owner);
    return pane == nullptr ? nullptr : pane->widget->window();
}

/// Waits for the answer: an id, or IDCANCEL.
int ask(const Question &question) {
    application();
    const QPointer<QMessageBox> box = new QMessageBox(question.icon, question.title, question.text, {});
    if (QWidget *owner = widgetOfOwner(question.owner)) {
        box->setParent(owner, box->windowFlags());
        box->setWindowModality(Qt::WindowModal);
    }
    box->setTextFormat(Qt::PlainText);
    box->setLayoutDirection(question.rightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    std::vector<QPushButton *> buttons;
    for (const Choice &choice : question.choices) {
        buttons.push_back(box->addButton(choice.text, QMessageBox::ActionRole));
        if (choice.id == question.defaultId || (question.defaultId == 0 && buttons.size() == 1))
            box->setDefaultButton(buttons.back());
    }
    if (question.cancellable) {
        // Escape and the close box press this one, which is none of the choices.
        QPushButton *cancel = box->addButton(QString(), QMessageBox::RejectRole);
        box->setEscapeButton(cancel);
        cancel->hide();
    }
    if (question.width > 0)
        widen(*box, question.width);
    box->exec();
    if (box == nullptr)
        return IDCANCEL; // it went with its owner
    const auto pressed = std::find(buttons.begin(), buttons.end(), box->clickedButton());
    const int answer =
        pressed == buttons.end() ? IDCANCEL : question.choices[static_cast<std::size_t>(pressed - buttons.begin())].id;
    delete box;
    return answer;
}

QString textOrNothing(LPCWSTR text) {
    return text == nullptr ? QString() : textOf(text);
}

QMessageBox::Icon iconOfTaskDialog(LPCWSTR icon) {
    if (icon == TD_WARNING_ICON)
        return QMessageBox::Warning;
    if (icon == TD_ERROR_ICON)
        return QMessageBox::Critical;
    return icon == TD_INFORMATION_ICON ? QMessageBox::Information : QMessageBox::NoIcon;
}

QMessageBox::Icon iconOfMessageBox(UINT flags) {
    switch (flags & 0xF0) { // MB_ICONMASK
    case MB_ICONQUESTION:
        return QMessageBox::Question;
    case MB_ICONWARNING:
        return QMessageBox::Warning;
    case MB_ICONINFORMATION:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

bool asksForMore(const TASKDIALOGCONFIG &config) {
    constexpr int known = TDF_ALLOW_DIALOG_CANCELLATION | TDF_POSITION_RELATIVE_TO_WINDOW | TDF_RTL_LAYOUT;
    return (config.dwFlags & ~known) != 0 || config.dwCommonButtons != 0 || config.cRadioButtons != 0 ||
           config.pszMainInstruction != nullptr || config.pszVerificationText != nullptr ||
           config.pszExpandedInformation != nullptr || config.pszFooter != nullptr || config.pfCallback != nullptr;
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

HRESULT WINAPI TaskDialogIndirect(const TASKDIALOGCONFIG *config, int *button, int *, BOOL *) {
    if (config == nullptr || config->cbSize != sizeof *config || config->cButtons == 0 || config->pButtons == nullptr ||
        asksForMore(*config))
        return E_INVALIDARG;
    Question question;
    question.owner = config->hwndParent;
    question.title = textOrNothing(config->pszWindowTitle);
    question.text = textOrNothing(config->pszContent);
    question.icon = iconOfTaskDialog(config->pszMainIcon);
    for (UINT i = 0; i < config->cButtons; ++i)
        question.choices.push_back({config->pButtons[i].nButtonID, textOrNothing(config->pButtons[i].pszButtonText)});
    question.defaultId = config->nDefaultButton;
    question.cancellable = (config->dwFlags & TDF_ALLOW_DIALOG_CANCELLATION) != 0;
    question.rightToLeft = (config->dwFlags & TDF_RTL_LAYOUT) != 0;
    question.width = static_cast<int>(config->cxWidth);
    const int answer = ask(question);
    if (button != nullptr)
        *button = answer;
    return S_OK;
}

int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT flags) {
    const bool yesNo = (flags & MB_YESNO) != 0;
    Question question;
    question.owner = owner;
    question.title = textOrNothing(caption);
    question.text = textOrNothing(text);
    question.icon = iconOfMessageBox(flags);
    if (yesNo)
        question.choices = {{IDYES, QMessageBox::tr("&Yes")}, {IDNO, QMessageBox::tr("&No")}};
    else
        question.choices = {{IDOK, QMessageBox::tr("OK")}};
    question.defaultId = yesNo && (flags & MB_DEFBUTTON2) != 0 ? IDNO : 0;
    question.cancellable = !yesNo; // with Yes and No, one has to choose
    question.rightToLeft = (flags & MB_RTLREADING) != 0;
    const int answer = ask(question);
    return answer == IDCANCEL && !yesNo ? IDOK : answer;
}
