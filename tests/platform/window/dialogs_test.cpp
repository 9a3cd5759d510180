#include "windows.h"

#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

namespace dm::test {
namespace {

class Dialogs : public WindowTest {
protected:
    TopWindow window;

    void SetUp() override { show(window); }
};

int ask(HWND owner, int defaultButton, bool cancellable) {
    const TASKDIALOG_BUTTON buttons[] = {{IDYES, W("Ja")}, {IDNO, W("Nein")}};
    TASKDIALOGCONFIG config = {};
    config.cbSize = sizeof config;
    config.hwndParent = owner;
    config.dwFlags = TDF_POSITION_RELATIVE_TO_WINDOW | (cancellable ? TDF_ALLOW_DIALOG_CANCELLATION : 0);
    config.pszWindowTitle = W("Title");
    config.pszContent = W("Wirklich? <b>&</b>");
    config.pszMainIcon = TD_WARNING_ICON;
    config.cButtons = 2;
    config.pButtons = buttons;
    config.nDefaultButton = defaultButton;
    config.cxWidth = 360;
    int answer = 0;
    EXPECT_EQ(TaskDialogIndirect(&config, &answer, nullptr, nullptr), S_OK);
    return answer;
}

TEST_F(Dialogs, ATaskDialogGivesTheButtonThatWasPressed) {
    const auto key = [](Qt::Key pressed) {
        return [pressed](QMessageBox &box) {
            EXPECT_EQ(box.text(), QStringLiteral("Wirklich? <b>&</b>"));
            EXPECT_EQ(box.icon(), QMessageBox::Warning);
            EXPECT_EQ(box.windowModality(), Qt::WindowModal);
            QTest::keyClick(&box, pressed);
        };
    };
    const struct {
        std::function<void(QMessageBox &)> act;
        int defaultButton;
        int answer;
    } cases[] = {
        {key(Qt::Key_Return), IDNO, IDNO},
        {key(Qt::Key_Return), 0, IDYES},
        {key(Qt::Key_Escape), IDNO, IDCANCEL},
        {[](QMessageBox &box) { box.close(); }, IDNO, IDCANCEL},
        {[](QMessageBox &box) {
             for (QAbstractButton *button : box.buttons()) {
                 EXPECT_FALSE(button->isVisible() && button->text().isEmpty());
                 if (button->text() == QStringLiteral("Ja"))
                     QTest::mouseClick(button, Qt::LeftButton);
             }
         },
         IDNO, IDYES},
    };
    for (const auto &each : cases) {
        whenOpen<QMessageBox>(each.act);
        EXPECT_EQ(ask(window, each.defaultButton, true), each.answer) << &each - cases;
    }
}

TEST_F(Dialogs, AQuestionWithoutCancelStaysOpenUnderEscape) {
    whenOpen<QMessageBox>([](QMessageBox &box) {
        QTest::keyClick(&box, Qt::Key_Escape);
        EXPECT_TRUE(box.isVisible());
        QTest::keyClick(&box, Qt::Key_Return);
    });
    EXPECT_EQ(MessageBoxW(window, W("Text"), W("Title"), MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2), IDNO);
}

TEST_F(Dialogs, ADialogGoesWithItsOwner) {
    whenOpen<QMessageBox>([this](QMessageBox &) { DestroyWindow(window); });
    EXPECT_EQ(ask(window, IDNO, true), IDCANCEL);
}

TEST_F(Dialogs, AMenuGivesTheCommandThatWasChosen) {
    const HMENU menu = CreatePopupMenu();
    AppendMenuW(menu, MF_STRING, 9201, W("Open"));
    AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    AppendMenuW(menu, MF_STRING, 9203, W("Exit"));
    const std::pair<std::vector<Qt::Key>, int> cases[] = {
        {{Qt::Key_Down, Qt::Key_Down, Qt::Key_Return}, 9203},
        {{Qt::Key_Down, Qt::Key_Escape}, 0},
    };
    for (const auto &[keys, command] : cases) {
        whenOpen<QMenu>([keys = keys](QMenu &open) {
            for (const Qt::Key key : keys)
                QTest::keyClick(&open, key);
        });
        EXPECT_EQ(TrackPopupMenuEx(menu, TPM_RIGHTBUTTON | TPM_NONOTIFY | TPM_RETURNCMD, 20, 20, window, nullptr),
                  command);
    }
    EXPECT_EQ(DestroyMenu(menu), TRUE);
}

} // namespace
} // namespace dm::test
