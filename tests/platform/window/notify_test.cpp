#include "bus.h"
#include "platform/linux/window/corner_icon.h"
#include "windows.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDeadlineTimer>
#include <QStringList>

namespace dm::test {
namespace {

constexpr UINT callback = WM_APP + 30;
constexpr UINT iconId = 1;

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
const QString itemPath = QStringLiteral("/StatusNotifierItem");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");

NOTIFYICONDATAW iconOf(HWND window, UINT flags) {
    NOTIFYICONDATAW data = {};
    data.cbSize = sizeof data;
    data.hWnd = window;
    data.uID = iconId;
    data.uFlags = flags;
    data.uCallbackMessage = callback;
    data.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
    std::copy_n(W("A tip"), 6, data.szTip);
    return data;
}

/// A window whose icon has been added in version 4, and what it was told of it.
struct IconWindow {
    IconWindow()
        : window([this](HWND, UINT message, WPARAM wParam, LPARAM lParam) -> std::optional<LRESULT> {
              if (message == callback)
                  told.push_back({LOWORD(lParam), HIWORD(lParam), GET_X_LPARAM(wParam), GET_Y_LPARAM(wParam)});
              return std::nullopt;
          }) {
        NOTIFYICONDATAW data = iconOf(window, NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_SHOWTIP);
        EXPECT_NE(Shell_NotifyIconW(NIM_ADD, &data), FALSE);
        data.uVersion = NOTIFYICON_VERSION_4;
        EXPECT_NE(Shell_NotifyIconW(NIM_SETVERSION, &data), FALSE);
    }
    ~IconWindow() {
        NOTIFYICONDATAW data = iconOf(window, 0);
        Shell_NotifyIconW(NIM_DELETE, &data);
    }

    struct Told {
        UINT event, id;
        int x, y;
        bool operator==(const Told &) const = default;
    };
    std::vector<Told> told;
    TopWindow window;
};

/// Null while none is on the screen.
template <typename Type>
Type *visibleWidget() {
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        auto *wanted = qobject_cast<Type *>(widget);
        if (wanted != nullptr && wanted->isVisible())
            return wanted;
    }
    return nullptr;
}
constexpr auto cornerIcon = visibleWidget<platform::CornerIcon>;
constexpr auto balloonLabel = visibleWidget<QLabel>;

/// Runs the loop until something is so. What comes over the bus has no other end.
template <typename Condition>
bool comesTrue(Condition condition) {
    const QDeadlineTimer end(20000);
    while (!condition()) {
        if (end.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        runLoop();
    }
    return true;
}

/// A panel that can come and go.
class Panel final : public QDBusVirtualObject {
public:
    Panel() { connection_.registerVirtualObject(watcherPath, this); }
    ~Panel() override {
        // The thread of the bus closes the connection later, and would touch the objects that it still knows.
        connection_.unregisterObject(watcherPath);
        QDBusConnection::disconnectFromBus(QStringLiteral("panel"));
    }

    bool isThere() const { return connection_.isConnected(); }
    void come() { EXPECT_TRUE(connection_.registerService(watcherService)); }
    void go() { EXPECT_TRUE(connection_.unregisterService(watcherService)); }

    /// What the user does with the item that came last.
    void call(const QString &method, int x, int y) const {
        QDBusMessage message = QDBusMessage::createMethodCall(items.last(), itemPath, itemInterface, method);
        message << x << y;
        connection_.asyncCall(message);
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        if (message.member() == QLatin1String("RegisterStatusNotifierItem")) {
            items.append(message.arguments().constFirst().toString());
            return connection.send(message.createReply());
        }
        if (message.member() != QLatin1String("Get") ||
            !connection.send(message.createReply(QVariant::fromValue(QDBusVariant(shows)))))
            return false;
        ++answers;
        return true;
    }

    QStringList items;
    int answers = 0;   ///< to whether it knows of a host
    bool shows = true; ///< it does

private:
    PrivateBus bus_;
    QDBusConnection connection_ = bus_.connect(QStringLiteral("panel"));
};

class Notify : public WindowTest {};

TEST_F(Notify, WithoutAPanelTheIconStandsInTheCornerWhileTheWindowIsHidden) {
    IconWindow icon;
    const NOTIFYICONIDENTIFIER identifier = {sizeof identifier, icon.window, iconId, {}};
    RECT rect = {};
    show(icon.window);
    runLoop();
    EXPECT_EQ(cornerIcon(), nullptr);
    EXPECT_TRUE(FAILED(Shell_NotifyIconGetRect(&identifier, &rect)));

    ShowWindow(icon.window, SW_HIDE);
    ASSERT_TRUE(comesTrue([] { return cornerIcon() != nullptr; }));
    platform::CornerIcon *corner = cornerIcon();
    EXPECT_EQ(corner->accessibleName(), QStringLiteral("A tip"));
    ASSERT_EQ(Shell_NotifyIconGetRect(&identifier, &rect), S_OK);
    EXPECT_EQ(platform::rectOf(rect), corner->geometry());
    EXPECT_TRUE(corner->screen()->availableGeometry().contains(corner->geometry()));

    const QPoint middle = corner->geometry().center();
    QTest::mouseClick(corner, Qt::LeftButton);
    QTest::keyClick(corner, Qt::Key_Return);
    QContextMenuEvent byKeys(QContextMenuEvent::Keyboard, {}, {});
    QCoreApplication::sendEvent(corner, &byKeys);
    QContextMenuEvent byMouse(QContextMenuEvent::Mouse, {1, 2}, {71, 72});
    QCoreApplication::sendEvent(corner, &byMouse);
    runLoop();
    const std::vector<IconWindow::Told> expected = {{NIN_SELECT, iconId, middle.x(), middle.y()},
                                                    {NIN_KEYSELECT, iconId, middle.x(), middle.y()},
                                                    {WM_CONTEXTMENU, iconId, middle.x(), middle.y()},
                                                    {WM_CONTEXTMENU, iconId, 71, 72}};
    EXPECT_EQ(icon.told, expected);

    NOTIFYICONDATAW balloon = iconOf(icon.window, NIF_INFO);
    std::copy_n(W("Here"), 5, balloon.szInfo);
    EXPECT_NE(Shell_NotifyIconW(NIM_MODIFY, &balloon), FALSE);
    ASSERT_TRUE(comesTrue([] { return balloonLabel() != nullptr; }));
    EXPECT_TRUE(balloonLabel()->text().contains(QStringLiteral("Here")));
    QTest::mouseClick(balloonLabel(), Qt::LeftButton);
    runLoop();
    EXPECT_EQ(icon.told.back().event, static_cast<UINT>(NIN_BALLOONUSERCLICK));
    EXPECT_EQ(balloonLabel(), nullptr);

    ShowWindow(icon.window, SW_SHOW);
    EXPECT_TRUE(comesTrue([] { return cornerIcon() == nullptr; }));
}

TEST_F(Notify, APanelHasTheIconAndGetsItAgain) {
    Panel panel;
    if (!panel.isThere())
        GTEST_SKIP() << "There is no dbus-daemon.";
    panel.come();
    IconWindow icon;
    show(icon.window);
    ASSERT_TRUE(comesTrue([&] { return panel.answers == 1; }));
    ASSERT_EQ(panel.items.size(), 1);
    panel.call(QStringLiteral("Activate"), 30, 40);
    ASSERT_TRUE(comesTrue([&] { return icon.told.size() == 1; }));
    panel.call(QStringLiteral("ContextMenu"), 0, 0);
    ASSERT_TRUE(comesTrue([&] { return icon.told.size() == 2; }));
    EXPECT_EQ(icon.told[0], (IconWindow::Told{NIN_SELECT, iconId, 30, 40}));
    EXPECT_EQ(icon.told[1], (IconWindow::Told{WM_CONTEXTMENU, iconId, -1, -1})) << "a panel that knows no place";

    ShowWindow(icon.window, SW_HIDE);
    runLoop();
    EXPECT_EQ(cornerIcon(), nullptr);
    panel.go();
    EXPECT_TRUE(comesTrue([] { return cornerIcon() != nullptr; })) << "no hidden window without an icon";
    panel.come();
    EXPECT_TRUE(comesTrue([] { return cornerIcon() == nullptr; }));
    EXPECT_EQ(panel.items.size(), 2);
    panel.go();
    EXPECT_TRUE(comesTrue([] { return cornerIcon() != nullptr; }));
    panel.shows = false;
    panel.come();
    ASSERT_TRUE(comesTrue([&] { return panel.answers == 3; }));
    runLoop();
    EXPECT_NE(cornerIcon(), nullptr) << "the watcher has nobody who would show it";
}

TEST_F(Notify, AnIconIsAddedOnceAndChangedOnlyWhereItIs) {
    const TopWindow other;
    NOTIFYICONDATAW strange = iconOf(other, NIF_TIP);
    const IconWindow icon;
    NOTIFYICONDATAW again = iconOf(icon.window, NIF_TIP);
    EXPECT_EQ(Shell_NotifyIconW(NIM_ADD, &again), FALSE);
    EXPECT_NE(Shell_NotifyIconW(NIM_MODIFY, &again), FALSE);
    EXPECT_EQ(Shell_NotifyIconW(NIM_MODIFY, &strange), FALSE);
    EXPECT_EQ(Shell_NotifyIconW(NIM_DELETE, &strange), FALSE);
}

} // namespace
} // namespace dm::test
