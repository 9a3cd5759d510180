#include "platform/linux/window/status_notifier.h"

#include "platform/linux/window/application.h"

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPixmap>
#include <QtEndian>

namespace dm::platform {

/// A picture as the convention wants it: rows of ARGB, the alpha first.
struct ItemPicture {
    int width = 0;
    int height = 0;
    QByteArray bytes;
};
using ItemPictures = QList<ItemPicture>;

struct ItemToolTip {
    QString iconName;
    ItemPictures pictures;
    QString title;
    QString text;
};

// Found by Qt in the namespace of their types.

QDBusArgument &operator<<(QDBusArgument &argument, const ItemPicture &picture) {
    argument.beginStructure();
    argument << picture.width << picture.height << picture.bytes;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ItemPicture &picture) {
    argument.beginStructure();
    argument >> picture.width >> picture.height >> picture.bytes;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const ItemToolTip &tip) {
    argument.beginStructure();
    argument << tip.iconName << tip.pictures << tip.title << tip.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ItemToolTip &tip) {
    argument.beginStructure();
    argument >> tip.iconName >> tip.pictures >> tip.title >> tip.text;
    argument.endStructure();
    return argument;
}

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
const QString itemPath = QStringLiteral("/StatusNotifierItem");

ItemPicture pictureOf(const QIcon &icon, int side) {
    const QImage image = icon.pixmap(side, side).toImage().convertToFormat(QImage::Format_ARGB32);
    ItemPicture picture = {image.width(), image.height(), {}};
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const quint32 pixel = qToBigEndian(row[x]);
            picture.bytes.append(reinterpret_cast<const char *>(&pixel), sizeof(pixel));
        }
    }
    return picture;
}

/// In the sizes that panels have.
ItemPictures picturesOf(const QIcon &icon) {
    ItemPictures pictures;
    for (const int side : {16, 22, 24, 32, 48, 64})
        pictures.append(pictureOf(icon, side));
    return pictures;
}

// NOLINTBEGIN(readability-identifier-naming): the names are those of the convention.

/// What the host asks of the item and tells it.
class ItemAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(dm::platform::ItemPictures IconPixmap READ iconPixmap)
    Q_PROPERTY(dm::platform::ItemToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)

public:
    explicit ItemAdaptor(StatusNotifier &notifier) : QDBusAbstractAdaptor(&notifier), notifier_(notifier) {}

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const { return QStringLiteral("dustmere"); }
    QString title() const { return notifier_.icon().tip; }
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    /// A name would be looked up by the host, in its own theme.
    QString iconName() const { return {}; }
    ItemPictures iconPixmap() const { return picturesOf(notifier_.icon().icon); }
    ItemToolTip toolTip() const { return {{}, {}, notifier_.icon().tip, {}}; }
    bool itemIsMenu() const { return false; }
    /// The menu is the program's own, by ContextMenu.
    QDBusObjectPath menu() const { return QDBusObjectPath(QStringLiteral("/NO_DBUSMENU")); }

public slots:
    void Activate(int x, int y) { tellNotifyEvent(NIN_SELECT, place(x, y)); }
    void SecondaryActivate(int x, int y) { tellNotifyEvent(NIN_SELECT, place(x, y)); }
    void ContextMenu(int x, int y) { tellNotifyEvent(WM_CONTEXTMENU, place(x, y)); }
    void Scroll(int, const QString &) {}

signals:
    void NewIcon();
    void NewToolTip();

private:
    /// Hosts that know no place, as under Wayland, say the corner.
    static QPoint place(int x, int y) { return x == 0 && y == 0 ? nowhere : QPoint(x, y); }

    StatusNotifier &notifier_;
};

// NOLINTEND(readability-identifier-naming)

QDBusMessage watcherCall(const QString &interface, const QString &method) {
    return QDBusMessage::createMethodCall(watcherService, watcherPath, interface, method);
}

/// Calls back with the reply, unless the context has gone.
template <typename Callback>
void whenAnswered(const QDBusMessage &question, QObject *context, Callback callback) {
    auto *call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), context);
    QObject::connect(call, &QDBusPendingCallWatcher::finished, context, [call, callback] {
        callback(call->reply());
        call->deleteLater();
    });
}

bool isTrue(const QDBusMessage &reply) {
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() &&
           reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

} // namespace

StatusNotifier::StatusNotifier(const NotifyIcon &icon) : icon_(icon) {
    application();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    qDBusRegisterMetaType<ItemPicture>();
    qDBusRegisterMetaType<ItemPictures>();
    qDBusRegisterMetaType<ItemToolTip>();
    new ItemAdaptor(*this);
    service_ = QStringLiteral("org.kde.StatusNotifierItem-%1-1").arg(QCoreApplication::applicationPid());
    exported_ = bus.registerObject(itemPath, this, QDBusConnection::ExportAdaptors) && bus.registerService(service_);

    watcher_.setConnection(bus);
    watcher_.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    watcher_.addWatchedService(watcherService);
    connect(&watcher_, &QDBusServiceWatcher::serviceRegistered, this, [this] { registerItem(); });
    connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this, [this] { setHosted(false); });
    for (const char *signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
        bus.connect(watcherService, watcherPath, watcherService, QString::fromLatin1(signal), this, SLOT(askForHost()));
    bus.connect({}, QStringLiteral("/org/freedesktop/DBus/Local"), QStringLiteral("org.freedesktop.DBus.Local"),
                QStringLiteral("Disconnected"), this, SLOT(onDisconnected()));
    registerItem();
}

StatusNotifier::~StatusNotifier() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (exported_) {
        bus.unregisterObject(itemPath);
        bus.unregisterService(service_);
    }
}

void StatusNotifier::update() {
    if (const auto *adaptor = findChild<ItemAdaptor *>()) {
        emit const_cast<ItemAdaptor *>(adaptor)->NewIcon();
        emit const_cast<ItemAdaptor *>(adaptor)->NewToolTip();
    }
}

void StatusNotifier::registerItem() {
    if (!exported_)
        return;
    QDBusMessage question = watcherCall(watcherService, QStringLiteral("RegisterStatusNotifierItem"));
    question << service_;
    whenAnswered(question, this, [this](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage)
            askForHost();
        else
            setHosted(false);
    });
}

/// A watcher alone shows nothing.
void StatusNotifier::askForHost() {
    QDBusMessage question = watcherCall(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question << watcherService << QStringLiteral("IsStatusNotifierHostRegistered");
    whenAnswered(question, this, [this](const QDBusMessage &reply) { setHosted(isTrue(reply)); });
}

void StatusNotifier::onDisconnected() {
    setHosted(false);
}

void StatusNotifier::setHosted(bool hosted) {
    if (hosted_ == hosted)
        return;
    hosted_ = hosted;
    emit hostedChanged();
}

} // namespace dm::platform

#include "status_notifier.moc"
