#include "environment.h"
#include "scratch.h"
#include "windows.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>

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

/// On a message bus that nobody else has.
class Opener : public WindowTest {
protected:
    Scratch scratch;

    void SetUp() override {
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (!daemon_.waitForStarted() || !daemon_.waitForReadyRead())
            GTEST_SKIP() << "No dbus-daemon here.";
        address_ = daemon_.readLine().trimmed();
        setEnvironment({{"DBUS_SESSION_BUS_ADDRESS", address_.constData()}});
    }
    void TearDown() override {
        daemon_.terminate();
        daemon_.waitForFinished();
    }

    void serve(FileManager &manager) {
        auto connection = QDBusConnection::connectToBus(QString::fromUtf8(address_), QStringLiteral("file manager"));
        ASSERT_TRUE(connection.registerVirtualObject(QStringLiteral("/org/freedesktop/FileManager1"), &manager) &&
                    connection.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    }
    static HRESULT open(const WString &path) {
        PIDLIST_ABSOLUTE list = nullptr;
        HRESULT result = SHParseDisplayName(path.c_str(), nullptr, &list, 0, nullptr);
        if (SUCCEEDED(result))
            result = SHOpenFolderAndSelectItems(list, 0, nullptr, 0);
        CoTaskMemFree(list);
        return result;
    }

private:
    QProcess daemon_;
    QByteArray address_;
};

TEST_F(Opener, AsksTheFileManagerToSelectTheFile) {
    platform::application();
    EXPECT_EQ(open(scratch.wide("missing")), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    scratch.file("plain");
    EXPECT_EQ(open(scratch.wide("plain")), E_FAIL) << "there is none yet";

    FileManager manager;
    serve(manager);
    const std::string deep = std::string(200, 'd') + "/line\nfeed \xFF#%";
    scratch.file(deep);
    ASSERT_EQ(open(scratch.wide(deep)), S_OK);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager.asked.isEmpty(); }));
    EXPECT_EQ(manager.asked.toStdString(),
              "ShowItemsfile://" + scratch.path(std::string(200, 'd')) + "/line%0Afeed%20%FF%23%25");
}

} // namespace
} // namespace dm::test
