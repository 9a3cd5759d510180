// The controls of the main window on a screen that nobody sees: real windows, real paints, real clicks and keys.
#include "ui/controls.h"

#include "core/operations.h"
#include "i18n/language.h"
#include "pixels.h"
#include "platform/linux/own_windows.h"
#include "platform/window/windows.h"
#include "rects.h"
#include "ui/animation.h"
#include "ui/layout.h"
#include "ui/main_view.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace dm::ui {
namespace {

using test::runLoop;

std::string narrow(const WString &text) {
    return platform::textOf(text).toStdString();
}

class MainControls : public test::WindowTest {
protected:
    MainControls() {
        static Gdiplus::GdiplusStartupInput input;
        Gdiplus::GdiplusStartup(&gdiplus_, &input, nullptr);
        mainView = {};
        mainView.selection = {true, true, true};
        mainView.paintPage = [](HDC dc, int width, int height) { fillRect(dc, {0, 0, width, height}, ground); };
        setLanguage("en");
        top_.emplace([this](HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
            return handle(window, message, wParam, lParam);
        });
        mainView.window = *top_;
        mainView.settings.theme = "light";
        applyTheme();
        createMainControls();
        SetWindowPos(mainView.window, nullptr, 0, 0, 1200, 860, SWP_NOZORDER);
    }
    ~MainControls() override {
        top_.reset();
        mainView = {};
        animation = {};
        operationState().busy = operationState().hasScanResult = false;
        operationState().scanResult = {};
    }

    void showMain() {
        show(mainView.window);
        layoutMainWindow();
        runLoop();
    }

    /// Plays the animation to its end, whatever the clock says.
    int settle() {
        int ticks = 0;
        for (; animation.animating && ticks < 1000; ++ticks)
            animationTick();
        runLoop();
        return ticks;
    }

    std::uint32_t pixelOf(int id, float x, float y) {
        const BackBuffer &buffer = controlBuffers.at(mainControl(id));
        const int column = static_cast<int>(x * mainView.uiScale);
        const int row = static_cast<int>(y * mainView.uiScale);
        return 0xFF000000 | static_cast<const std::uint32_t *>(buffer.bits)[row * buffer.width + column];
    }

    static constexpr Argb ground = 0xFF123456;
    std::vector<int> commands;

private:
    std::optional<LRESULT> handle(HWND, UINT message, WPARAM wParam, LPARAM lParam) {
        switch (message) {
        case WM_PAINT:
            paintMainWindow();
            return 0;
        case WM_DRAWITEM:
            paintOwnerDrawControl(*reinterpret_cast<const DRAWITEMSTRUCT *>(lParam));
            return 1;
        case WM_SIZE:
            if (mainView.window != nullptr)
                resizeMainWindow(LOWORD(lParam), HIWORD(lParam));
            return 0;
        case WM_COMMAND:
            commands.push_back(LOWORD(wParam));
            return 0;
        default:
            return std::nullopt;
        }
    }

    ULONG_PTR gdiplus_ = 0;
    std::optional<test::TopWindow> top_;
};

TEST_F(MainControls, TellTheirStateInTheirText) {
    const auto check = [](std::initializer_list<std::pair<int, const char *>> texts) {
        layoutMainWindow();
        for (const auto &[id, text] : texts)
            EXPECT_EQ(narrow(windowText(mainControl(id))), text) << id;
    };
    check({{121, "Run a scan first"},
           {125, "Temporary files · 0 B · Selected"},
           {129, "Skip files in use · On"},
           {170, "Selected · Emerald"},
           {171, "Blue"}});

    operationState().hasScanResult = true;
    operationState().scanResult.bytesByCategory = {1024, 2048};
    operationState().scanResult.recycleBytes = 4096;
    mainView.selection.browser = false;
    mainView.settings.palette = "blue";
    mainView.settings.skipLocked = false;
    check({{121, "Clean up 5.0 KB"},
           {126, "Browser cache · 2.0 KB · Not selected"},
           {129, "Skip files in use · Off"},
           {170, "Emerald"},
           {171, "Selected · Blue"}});

    mainView.settings.language = "de";
    fillLanguageList();
    const LRESULT selected = SendMessageW(mainControl(id::language), CB_GETCURSEL, 0, 0);
    setLanguage("de");
    retranslateControls();
    check({{105, "Einstellungen"}, {127, "Papierkorb · 4.0 KB · Ausgewählt"}, {160, "Systemstandard"}});
    EXPECT_EQ(SendMessageW(mainControl(id::language), CB_GETCURSEL, 0, 0), selected);
    EXPECT_EQ(languageList().at(static_cast<std::size_t>(selected)).code, "de");
}

TEST_F(MainControls, AreEnabledByWhatRuns) {
    const std::set<int> changing = {120, 125, 126, 127, 128, 129, 130, 180};
    for (int state = 0; state < 8; ++state) {
        const bool busy = (state & 1) != 0;
        const bool scanned = (state & 2) != 0;
        const bool selected = (state & 4) != 0;
        operationState().busy = busy;
        operationState().hasScanResult = scanned;
        operationState().scanResult.recycleBytes = scanned ? 1 : 0;
        mainView.selection.recycleBin = selected;
        layoutMainWindow();
        for (const auto &[id, control] : mainView.controls) {
            const bool expected = id == id::clean ? !busy && scanned && selected : !busy || !changing.contains(id);
            EXPECT_EQ(IsWindowEnabled(control) != FALSE, expected) << id << ' ' << state;
        }
    }
}

std::set<int> shownIds() {
    std::set<int> ids;
    for (const auto &[id, control] : mainView.controls) {
        if (IsWindowVisible(control) != FALSE)
            ids.insert(id);
    }
    return ids;
}

std::set<int> wantedIds() {
    std::set<int> ids;
    for (const Placement &place : placements(mainMetrics(), mainView.currentPage, operationState().busy))
        ids.insert(place.id);
    return ids;
}

TEST_F(MainControls, OfThePageStandWhereTheyBelong) {
    showMain();
    for (const PageId page : {PageId::Cleanup, PageId::Settings, PageId::Help, PageId::DiskSpace, PageId::Cleanup}) {
        mainView.currentPage = page;
        layoutMainWindow();
        EXPECT_EQ(shownIds(), wantedIds());
        for (const Placement &place : placements(mainMetrics(), page, false)) {
            RECT rect = {};
            GetWindowRect(mainControl(place.id), &rect);
            MapWindowPoints(nullptr, mainView.window, reinterpret_cast<POINT *>(&rect), 2);
            const RECT wanted = placedRect(place.x, place.y, place.w, place.h, mainView.uiScale);
            if (place.id == id::language) // which is closed
                rect.bottom = wanted.bottom;
            EXPECT_EQ(test::edges(rect), test::edges(wanted)) << place.id;
        }
    }
}

TEST_F(MainControls, ThatGoWhileTheWindowIsHiddenStayGone) {
    operationState().busy = true;
    showMain();
    EXPECT_TRUE(shownIds().contains(id::cancel));
    ShowWindow(mainView.window, SW_HIDE);
    operationState().busy = false;
    layoutMainWindow();
    show(mainView.window);
    EXPECT_EQ(shownIds(), wantedIds());
}

TEST_F(MainControls, FollowPointerAndKeys) {
    showMain();
    HWND button = mainControl(id::scan);
    const auto state = [] {
        const ControlState &now = controlState(id::scan);
        return std::make_pair(now.hot, now.pressed);
    };
    using State = std::pair<bool, bool>;
    const QPoint inside = test::middleOf(button);
    const QPoint outside(5, 5);
    QWindow *screen = test::screenWindowOf(button);

    QTest::mouseMove(screen, inside);
    EXPECT_EQ(state(), State(true, false));
    test::press(button, inside);
    EXPECT_EQ(state(), State(true, true));
    EXPECT_EQ(settle() > 5, !reduceMotion);
    EXPECT_EQ(controlState(id::scan).hotLevel, 1);
    EXPECT_EQ(controlState(id::scan).pressLevel, 1);
    test::release(button, inside);
    EXPECT_EQ(state(), State(true, false));
    EXPECT_EQ(commands, std::vector<int>{id::scan});

    QTest::mouseMove(screen, outside);
    EXPECT_EQ(state(), State(false, false));
    test::press(button, inside);
    SendMessageW(button, WM_CAPTURECHANGED, 0, 0);
    EXPECT_FALSE(controlState(id::scan).pressed) << "the capture went elsewhere";
    test::release(button, outside);

    SetFocus(button);
    SendMessageW(button, WM_KEYDOWN, VK_RETURN, 0);
    EXPECT_TRUE(controlState(id::scan).pressed);
    SetFocus(mainControl(id::viewFiles));
    EXPECT_FALSE(controlState(id::scan).pressed) << "the focus went elsewhere";
}

TEST_F(MainControls, AnimationEndsOnceEverythingStands) {
    showMain();
    settle();
    EXPECT_FALSE(animation.animating);

    operationState().busy = true;
    layoutMainWindow();
    for (int tick = 0; tick < 100; ++tick)
        animationTick();
    EXPECT_TRUE(animation.animating) << "an operation turns the spinner";
    operationState().processed = operationState().total = 7;
    settle();
    EXPECT_EQ(operationState().progressShown, 1);

    ShowWindow(mainView.window, SW_HIDE);
    animationTick();
    EXPECT_FALSE(animation.animating);
    startAnimationTimer();
    EXPECT_FALSE(animation.animating) << "nothing moves in a hidden window";
}

TEST_F(MainControls, JumpUnderReducedMotion) {
    reduceMotion = true;
    operationState().hasScanResult = true;
    operationState().scanResult.recycleBytes = 5;
    showMain();
    settle();
    EXPECT_EQ(gaugeValue(), 1);
    controlState(id::scan).hot = true;
    startAnimationTimer();
    EXPECT_EQ(settle(), 1);
    EXPECT_EQ(controlState(id::scan).hotLevel, 1);
    reduceMotion = false;
}

TEST_F(MainControls, SwitchesPointToTheSideOfTheirState) {
    struct {
        const char *language;
        bool on;
        bool knobAtRight;
    } const cases[] = {{"en", true, true}, {"en", false, false}, {"ar", true, false}, {"ar", false, true}};
    showMain();
    EXPECT_EQ(pixelOf(id::viewFiles, 0.5F, 0.5F), ground) << "the window's own pixel outside the rounded corner";
    for (const auto &[language, on, knobAtRight] : cases) {
        setLanguage(language);
        mainView.settings.skipLocked = on;
        layoutMainWindow();
        settle();
        RECT client = {};
        GetClientRect(mainControl(id::skipFilesInUse), &client);
        const float width = static_cast<float>(client.right) / mainView.uiScale;
        const float track = isRightToLeft() ? 12 : width - 55;
        const Argb left = pixelOf(id::skipFilesInUse, track + 12, 27);
        const Argb right = pixelOf(id::skipFilesInUse, track + 31, 27);
        const Argb ground = on ? palette.accentColor : mixColor(palette.borderColor, palette.textMuted, 0.17F);
        EXPECT_EQ(left, knobAtRight ? ground : palette.onAccent) << language << on;
        EXPECT_EQ(right, knobAtRight ? palette.onAccent : ground) << language << on;
    }
}

TEST_F(MainControls, SliderFillsUpToItsKnob) {
    mainView.currentPage = PageId::Settings;
    showMain();
    HWND slider = mainControl(id::opacity);
    RECT client = {};
    GetClientRect(slider, &client);
    const float width = static_cast<float>(client.right) / mainView.uiScale;
    for (const int position : {20, 60, 100}) {
        SendMessageW(slider, TBM_SETPOS, TRUE, position);
        runLoop();
        const float knob = static_cast<float>(position - 20) / 80 * (width - 20) + 10;
        EXPECT_EQ(pixelOf(id::opacity, knob, 9), palette.accentColor) << position;
        if (position != 60)
            continue;
        EXPECT_EQ(pixelOf(id::opacity, knob - 20, 14), palette.accentColor);
        EXPECT_EQ(pixelOf(id::opacity, knob + 20, 14), palette.borderColor);
    }
}

TEST_F(MainControls, LanguageListDrawsEachRow) {
    const test::Pixels pixels(400, 30);
    const auto draw = [&pixels](std::size_t row, UINT state) {
        DRAWITEMSTRUCT item = {};
        item.CtlType = ODT_COMBOBOX;
        item.itemID = static_cast<UINT>(row);
        item.itemState = state;
        item.hDC = pixels.dc;
        item.rcItem = {0, 0, 400, 30};
        paintOwnerDrawControl(item);
        return pixels.inkOn(palette.cardBackground & 0xFFFFFF);
    };
    const auto &choices = languageList();
    for (std::size_t row = 0; row < choices.size(); ++row) {
        const RECT ink = draw(row, 0);
        EXPECT_EQ(ink.left > 200, choices[row].code == "ar") << choices[row].code << " is read from the right";
        EXPECT_EQ(ink.right < 200, choices[row].code != "ar") << choices[row].code;
    }
    EXPECT_EQ(draw(~std::size_t{0}, 0).right, 0) << "an empty field";
    EXPECT_EQ(test::edges(draw(~std::size_t{0}, ODS_SELECTED)), "0,0,400,30");
}

TEST_F(MainControls, LeaveNothingBehind) {
    showMain();
    controlState(id::scan).hot = true;
    EXPECT_FALSE(controlBuffers.empty());
    for (const auto &[id, control] : mainView.controls)
        DestroyWindow(control);
    EXPECT_TRUE(controlStates.empty());
    EXPECT_TRUE(controlBuffers.empty());
}

} // namespace
} // namespace dm::ui
