#include "bus.h"
#include "scratch.h"
#include "windows.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMap>
#include <QScreen>
#include <QSocketNotifier>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dm::test {
namespace {

using Values = QMap<QString, QMap<QString, QVariant>>;

/// Answers as a desktop's portal does.
class Portal final : public QDBusVirtualObject {
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        const Values values = {
            {QStringLiteral("org.freedesktop.appearance"), {{QStringLiteral("color-scheme"), 1U}}},
            {QStringLiteral("org.gnome.desktop.interface"),
             {{QStringLiteral("enable-animations"), false},
              {QStringLiteral("font-antialiasing"), QStringLiteral("none")}}},
            {QStringLiteral("org.gnome.desktop.a11y.interface"), {{QStringLiteral("high-contrast"), true}}},
        };
        return message.member() == QLatin1String("ReadAll") &&
               connection.send(message.createReply(QVariant::fromValue(values)));
    }
};

/// Turns the lights on.
void sendChange(const QDBusConnection &connection) {
    QDBusMessage change =
        QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                   QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
    change << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme")
           << QVariant::fromValue(QDBusVariant(2U));
    connection.send(change);
}

/// Serves as the portal until the pipe's other end is closed: says when it is there, and for each byte that it gets
/// tells of a change.
[[noreturn]] void servePortal(const PrivateBus &bus, int pipe) {
    int count = 0;
    const QCoreApplication application(count, nullptr);
    qDBusRegisterMetaType<QMap<QString, QVariant>>();
    qDBusRegisterMetaType<Values>();
    Portal portal;
    QDBusConnection connection = bus.connect(QStringLiteral("portal"));
    const bool serves = connection.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal) &&
                        connection.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    QSocketNotifier heard(pipe, QSocketNotifier::Read);
    QObject::connect(&heard, &QSocketNotifier::activated, &heard, [&] {
        char byte = 0;
        if (read(pipe, &byte, 1) != 1)
            _exit(0);
        sendChange(connection);
    });
    if (!serves || write(pipe, "!", 1) != 1)
        _exit(1);
    QCoreApplication::exec();
    _exit(0);
}

/// A bus with a portal.
class PrivateDesktop {
public:
    PrivateDesktop() {
        if (!bus_.isThere())
            return;
        int pipe[2];
        require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pipe) == 0, "socketpair");
        pipe_ = pipe[0];
        portal_ = fork();
        if (portal_ == 0) {
            close(pipe[0]);
            servePortal(bus_, pipe[1]);
        }
        close(pipe[1]);
        char byte = 0;
        serves_ = read(pipe_, &byte, 1) == 1;
    }
    PrivateDesktop(const PrivateDesktop &) = delete;
    PrivateDesktop &operator=(const PrivateDesktop &) = delete;
    ~PrivateDesktop() {
        if (portal_ > 0) {
            close(pipe_);
            waitpid(portal_, nullptr, 0);
        }
    }

    bool serves() const { return serves_; }
    void change() const { EXPECT_EQ(write(pipe_, "!", 1), 1); }

private:
    PrivateBus bus_;
    int pipe_ = -1;
    pid_t portal_ = -1;
    bool serves_ = false;
};

bool isLight() {
    DWORD light = 2;
    DWORD size = sizeof light;
    EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, W("Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize"),
                           W("AppsUseLightTheme"), RRF_RT_REG_DWORD, nullptr, &light, &size),
              ERROR_SUCCESS);
    return light == 1;
}

bool parameter(UINT action) {
    BOOL value = 7;
    EXPECT_NE(SystemParametersInfoW(action, 0, &value, 0), FALSE);
    return value == TRUE;
}

bool isHighContrast() {
    HIGHCONTRASTW contrast = {};
    contrast.cbSize = sizeof contrast;
    EXPECT_NE(SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof contrast, &contrast, 0), FALSE);
    return (contrast.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

class Desktop : public WindowTest {};

TEST_F(Desktop, WithoutAPortalThereAreDefaults) {
    EXPECT_TRUE(isLight());
    EXPECT_FALSE(isHighContrast());
    EXPECT_TRUE(parameter(SPI_GETCLIENTAREAANIMATION) && parameter(SPI_GETFONTSMOOTHING));
}

TEST_F(Desktop, SettingsComeFromThePortalAndChangesAreTold) {
    const PrivateDesktop desktop;
    if (!desktop.serves())
        GTEST_SKIP() << "There is no dbus-daemon.";
    EXPECT_FALSE(isLight());
    EXPECT_TRUE(isHighContrast());
    EXPECT_EQ(GetSysColor(COLOR_WINDOW), RGB(0, 0, 0)) << "dark, as the desktop is";
    EXPECT_EQ(GetSysColor(COLOR_WINDOWTEXT), RGB(255, 255, 255));
    EXPECT_FALSE(parameter(SPI_GETCLIENTAREAANIMATION));
    EXPECT_FALSE(parameter(SPI_GETFONTSMOOTHING));

    bool told = false;
    const TopWindow window([&](HWND self, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_SETTINGCHANGE) {
            told = true;
            PostMessageW(self, WM_APP, 0, 0);
        }
        return std::nullopt;
    });
    desktop.change();
    MSG message;
    GetMessageW(&message, window, WM_APP, WM_APP);
    EXPECT_TRUE(told);
    EXPECT_TRUE(isLight());
}

TEST_F(Desktop, MonitorsAndScale) {
    const TopWindow window;
    MONITORINFO info = {};
    info.cbSize = sizeof info;
    ASSERT_NE(GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &info), FALSE);
    EXPECT_EQ(platform::rectOf(info.rcMonitor), QGuiApplication::primaryScreen()->geometry());
    const RECT far = {-5000, -5000, -4000, -4000};
    EXPECT_EQ(MonitorFromRect(&far, MONITOR_DEFAULTTONEAREST), MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST));
    RECT work = {};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    EXPECT_EQ(platform::rectOf(work), platform::rectOf(info.rcWork));

    const auto dpiForWindow = reinterpret_cast<UINT(WINAPI *)(HWND)>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(W("user32.dll")), "GetDpiForWindow")));
    ASSERT_NE(dpiForWindow, nullptr);
    EXPECT_EQ(static_cast<int>(dpiForWindow(window)), GetDeviceCaps(GetDC(nullptr), LOGPIXELSX));
}

/// What a window is told of its place, and what it says of its smallest size.
struct Places {
    std::vector<std::pair<UINT, QSize>> sizes;
    std::vector<bool> shown;

    std::optional<LRESULT> operator()(HWND, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_SIZE)
            sizes.emplace_back(wParam, QSize(LOWORD(lParam), HIWORD(lParam)));
        else if (message == WM_SHOWWINDOW)
            shown.push_back(wParam != FALSE);
        else if (message == WM_GETMINMAXINFO)
            reinterpret_cast<MINMAXINFO *>(lParam)->ptMinTrackSize = {120, 90};
        return std::nullopt;
    }
};

TEST_F(Desktop, AWindowHearsOfItsSizeAndOfBeingShown) {
    using Sizes = std::vector<std::pair<UINT, QSize>>;
    Places places;
    const TopWindow window(std::ref(places));
    const HWND button = newButton(window, 1);
    const auto takeSizes = [&] { return std::exchange(places.sizes, {}); };
    const QMargins frame = screenWindowOf(window)->frameMargins();
    const auto inside = [frame](int width, int height) {
        return Sizes{{SIZE_RESTORED, QSize(width, height).shrunkBy(frame)}};
    };
    EXPECT_EQ(takeSizes(), inside(300, 200)) << "as soon as it is made";
    SetWindowPos(window, nullptr, 60, 70, 320, 240, SWP_NOZORDER | SWP_NOACTIVATE);
    EXPECT_EQ(takeSizes(), inside(320, 240)) << "also while it is hidden";
    SetWindowPos(window, nullptr, 0, 0, 10, 10, SWP_NOMOVE | SWP_NOZORDER);
    EXPECT_EQ(takeSizes(), inside(120, 90)) << "not below its smallest";
    EXPECT_EQ(IsWindowVisible(button), FALSE);
    EXPECT_EQ(ShowWindow(window, SW_SHOW), FALSE);
    runLoop();
    EXPECT_NE(IsWindowVisible(button), FALSE);
    EXPECT_EQ(takeSizes(), Sizes());
    EXPECT_EQ(ShowWindow(window, SW_SHOW), TRUE);
    RECT rect;
    GetWindowRect(window, &rect);
    EXPECT_EQ(platform::rectOf(rect), QRect(60, 70, 120, 90));
    EXPECT_EQ(ShowWindow(window, SW_HIDE), TRUE);
    EXPECT_EQ(places.shown, (std::vector<bool>{true, false}));
}

} // namespace
} // namespace dm::test
