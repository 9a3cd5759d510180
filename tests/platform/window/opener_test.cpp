#include "bus.h"
#include "scratch.h"
#include "windows.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>

namespace dm::test {
namespace {

/// What a file manager is asked.
class FileManager final : public QDBusVirtualObject {
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        if (message.interface() != QLatin1String("org.freedesktop.FileManager1"))
            return false;
        asked = message.member() + message.arguments().value(0).toStringList().join(' ');
        return connection.send(message.createReply());
    }

    QString asked;
};

HRESULT openFolderOf(const WString &path) {
    PIDLIST_ABSOLUTE list = nullptr;
    HRESULT result = SHParseDisplayName(path.c_str(), nullptr, &list, 0, nullptr);
    if (SUCCEEDED(result))
        result = SHOpenFolderAndSelectItems(list, 0, nullptr, 0);
    CoTaskMemFree(list);
    return result;
}

class Opener : public WindowTest {};

TEST_F(Opener, AsksTheFileManagerToSelectTheFile) {
    const Scratch scratch;
    const PrivateBus bus;
    if (!bus.isThere())
        GTEST_SKIP() << "There is no dbus-daemon.";
    platform::application();
    EXPECT_EQ(openFolderOf(scratch.wide("missing")), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    scratch.file("plain");
    EXPECT_EQ(openFolderOf(scratch.wide("plain")), E_FAIL) << "there is none yet";

    FileManager manager;
    QDBusConnection connection = bus.connect(QStringLiteral("file manager"));
    ASSERT_TRUE(connection.registerVirtualObject(QStringLiteral("/org/freedesktop/FileManager1"), &manager) &&
                connection.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    const std::string deep = std::string(200, 'd') + "/line\nfeed \xFF#%";
    scratch.file(deep);
    ASSERT_EQ(openFolderOf(scratch.wide(deep)), S_OK);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager.asked.isEmpty(); }));
    EXPECT_EQ(manager.asked.toStdString(),
              "ShowItemsfile://" + scratch.path(std::string(200, 'd')) + "/line%0Afeed%20%FF%23%25");
}

} // namespace
} // namespace dm::test
