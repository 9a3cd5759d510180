// Opening what another program shows, by the desktop's choice of that program.
#include "platform/linux/path_text.h"
#include "platform/linux/volumes.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QUrl>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace dm::platform {
namespace {

// As published: what is above 32 is no error.
constexpr std::intptr_t handedOver = 33;
constexpr std::intptr_t noProgram = 31;   // SE_ERR_NOASSOC
constexpr std::intptr_t notSupported = 5; // SE_ERR_ACCESSDENIED

const QString fileManager = QStringLiteral("org.freedesktop.FileManager1");
const QString fileManagerPath = QStringLiteral("/org/freedesktop/FileManager1");

bool isDrivePath(WStringView text) {
    return text.size() >= 3 && text[1] == W(':') && text[2] == W('\\');
}

/// A name may be bytes that are no text, so they go into the address as they are.
QUrl fileUrl(const std::string &path) {
    return QUrl::fromEncoded("file://" + QByteArray::fromStdString(path).toPercentEncoding("/"), QUrl::StrictMode);
}

QUrl urlOf(WStringView text) {
    if (!isDrivePath(text))
        return QUrl(textOf(text), QUrl::StrictMode);
    const std::string path = linuxPath(text);
    return path.empty() ? QUrl() : fileUrl(path);
}

// An item identifier list is the path's bytes in elements, each behind its length, and an element of length 0.

constexpr std::size_t mostInElement = 0x8000;

PIDLIST_ABSOLUTE listOf(std::string_view path) {
    const std::size_t elements = (path.size() + mostInElement - 1) / mostInElement;
    auto *bytes = static_cast<char *>(std::calloc(1, path.size() + (elements + 1) * sizeof(USHORT)));
    if (bytes == nullptr)
        return nullptr;
    char *at = bytes;
    for (; !path.empty(); path.remove_prefix(std::min(path.size(), mostInElement))) {
        const std::string_view part = path.substr(0, mostInElement);
        const auto length = static_cast<USHORT>(sizeof(USHORT) + part.size());
        std::memcpy(at, &length, sizeof length);
        std::memcpy(at + sizeof length, part.data(), part.size());
        at += length;
    }
    return reinterpret_cast<PIDLIST_ABSOLUTE>(bytes);
}

std::string pathOf(PCIDLIST_ABSOLUTE list) {
    std::string path;
    const auto *at = reinterpret_cast<const char *>(list);
    for (USHORT length = 0; std::memcpy(&length, at, sizeof length), length != 0; at += length)
        path.append(at + sizeof length, length - sizeof length);
    return path;
}

/// Running, or startable by the bus.
bool hasFileManager(const QDBusConnection &bus) {
    return bus.isConnected() && (bus.interface()->isServiceRegistered(fileManager) ||
                                 bus.interface()->activatableServiceNames().value().contains(fileManager));
}

/// The window does not wait for a file manager that has to be started first.
void showItem(const QDBusConnection &bus, const std::string &path) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(fileManager, fileManagerPath, fileManager, QStringLiteral("ShowItems"));
    call << QStringList(QString::fromLatin1(fileUrl(path).toEncoded())) << QString();
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), &application());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [path](QDBusPendingCallWatcher *finished) {
        if (QDBusPendingReply<>(*finished).isError())
            QDesktopServices::openUrl(fileUrl(parentPath(path)));
        finished->deleteLater();
    });
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

HRESULT WINAPI SHParseDisplayName(PCWSTR name, IBindCtx *, PIDLIST_ABSOLUTE *list, SFGAOF, SFGAOF *) {
    if (name == nullptr || list == nullptr)
        return E_POINTER;
    *list = nullptr;
    if (GetFileAttributesW(name) == INVALID_FILE_ATTRIBUTES)
        return HRESULT_FROM_WIN32(GetLastError());
    const std::string path = linuxPath(name);
    if (path.empty())
        return E_INVALIDARG;
    *list = listOf(path);
    return *list != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT WINAPI SHOpenFolderAndSelectItems(PCIDLIST_ABSOLUTE folder, UINT count, PCUITEMID_CHILD_ARRAY, DWORD) {
    if (folder == nullptr || count != 0)
        return E_INVALIDARG;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!hasFileManager(bus))
        return E_FAIL;
    showItem(bus, pathOf(folder));
    return S_OK;
}

HINSTANCE WINAPI ShellExecuteW(HWND, LPCWSTR operation, LPCWSTR file, LPCWSTR, LPCWSTR, int) {
    std::intptr_t answer = notSupported;
    if (file != nullptr && operation != nullptr && dm::WStringView(operation) == W("open")) {
        const QUrl url = urlOf(file);
        answer = url.isValid() && QDesktopServices::openUrl(url) ? handedOver : noProgram;
    }
    return reinterpret_cast<HINSTANCE>(answer);
}
