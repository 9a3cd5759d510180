// The published calls of asynchronous HTTP: they check what they are given, note it and leave the rest to the thread.
#include "platform/linux/errors.h"
#include "platform/linux/http_network.h"
#include "platform/win32.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

using namespace dm::platform;

namespace {

struct Session {
    HttpMessage message; ///< as far as it is known
};

struct Connection {
    HttpMessage message;
};

using Node = std::variant<Session, Connection, std::shared_ptr<HttpRequest>>;
/// Guarded by the lock.
std::unordered_map<HINTERNET, Node> handles;

/// With the lock held. A number is never given out twice, so that a stale handle leads nowhere.
HINTERNET newHandle(Node node) {
    static std::uintptr_t last = 0;
    const auto handle = reinterpret_cast<HINTERNET>(++last);
    handles.emplace(handle, std::move(node));
    return handle;
}

/// With the lock held. Null with the last error set.
template <typename Kind>
Kind *find(HINTERNET handle) {
    const auto found = handles.find(handle);
    Kind *const kind = found == handles.end() ? nullptr : std::get_if<Kind>(&found->second);
    if (kind == nullptr)
        SetLastError(found == handles.end() ? ERROR_INVALID_HANDLE : ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    return kind;
}

/// The same.
HttpRequest *findRequest(HINTERNET handle) {
    const auto *const request = find<std::shared_ptr<HttpRequest>>(handle);
    return request == nullptr ? nullptr : request->get();
}

std::nullptr_t refuse(DWORD code) {
    SetLastError(code);
    return nullptr;
}

/// The text in bytes; empty where it holds anything but printable ASCII, which can be no part of a head.
std::string asciiOf(std::u16string_view text) {
    if (!std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit >= u' ' && unit <= u'~'; }))
        return {};
    return std::string(text.begin(), text.end());
}
std::string asciiOf(LPCWSTR text) {
    return text == nullptr ? std::string() : asciiOf(std::u16string_view(text));
}

bool isServerName(const std::string &text) {
    return text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.") ==
           std::string::npos;
}

/// The lines of the headers, or nothing where they are no headers.
std::optional<std::vector<std::string>> splitHeaders(LPCWSTR headers, DWORD length) {
    constexpr auto toTheNull = static_cast<DWORD>(-1);
    std::u16string_view rest;
    if (headers != nullptr)
        rest = length == toTheNull ? std::u16string_view(headers) : std::u16string_view(headers, length);
    std::vector<std::string> lines;
    while (!rest.empty()) {
        const std::size_t end = rest.find(u"\r\n");
        std::string line = end == std::u16string_view::npos ? std::string() : asciiOf(rest.substr(0, end));
        // A name alone would make libcurl leave that header out.
        if (line.find(": ") == std::string::npos)
            return std::nullopt;
        lines.push_back(std::move(line));
        rest.remove_prefix(end + 2);
    }
    return lines;
}

/// Begins an operation of a request that is at this stage and has none. `prepare` notes what belongs to it, or gives
/// FALSE with the last error set.
template <typename Prepare>
BOOL begin(HINTERNET handle, HttpStage stage, HttpOperation operation, Prepare prepare) {
    {
        const std::lock_guard guard(httpLock);
        HttpRequest *const request = findRequest(handle);
        if (request == nullptr)
            return FALSE;
        if (request->stage != stage || request->operation != HttpOperation::None)
            return fail(ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
        if (!prepare(*request))
            return FALSE;
        request->operation = operation;
        request->asked = HttpClock::now();
    }
    wakeNetwork();
    return TRUE;
}

} // namespace

HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR proxyBypass, DWORD flags) {
    std::string text = asciiOf(agent);
    if (text.empty() || accessType != WINHTTP_ACCESS_TYPE_DEFAULT_PROXY || proxy != nullptr || proxyBypass != nullptr ||
        flags != WINHTTP_FLAG_ASYNC)
        return refuse(ERROR_INVALID_PARAMETER);
    if (!startNetwork())
        return nullptr;
    Session session;
    session.message.agent = std::move(text);
    const std::lock_guard guard(httpLock);
    return newHandle(std::move(session));
}

BOOL WINAPI WinHttpSetTimeouts(HINTERNET handle, int resolve, int connect, int send, int receive) {
    if (std::min({resolve, connect, send, receive}) < -1)
        return fail(ERROR_INVALID_PARAMETER);
    const std::lock_guard guard(httpLock);
    Session *const session = find<Session>(handle);
    if (session == nullptr)
        return FALSE;
    const auto limit = [](int timeout) { return timeout <= 0 ? noHttpLimit : std::chrono::milliseconds(timeout); };
    session->message.limits = {limit(resolve), limit(connect), limit(send), limit(receive)};
    return TRUE;
}

HINTERNET WINAPI WinHttpConnect(HINTERNET handle, LPCWSTR server, INTERNET_PORT port, DWORD reserved) {
    const std::string name = asciiOf(server);
    if (name.empty() || port == 0 || reserved != 0)
        return refuse(ERROR_INVALID_PARAMETER);
    if (!isServerName(name))
        return refuse(ERROR_WINHTTP_INVALID_URL);
    const std::lock_guard guard(httpLock);
    const Session *const session = find<Session>(handle);
    if (session == nullptr)
        return nullptr;
    Connection connection = {session->message};
    connection.message.url = "https://" + name + ':' + std::to_string(port);
    return newHandle(std::move(connection));
}

HINTERNET WINAPI WinHttpOpenRequest(HINTERNET handle, LPCWSTR verb, LPCWSTR path, LPCWSTR version, LPCWSTR referrer,
                                    LPCWSTR *acceptTypes, DWORD flags) {
    if (asciiOf(verb) != "POST" || version != nullptr || referrer != nullptr || acceptTypes != nullptr ||
        flags != WINHTTP_FLAG_SECURE)
        return refuse(ERROR_INVALID_PARAMETER);
    const std::string text = asciiOf(path);
    if (!text.starts_with('/') || text.find_first_of(" #") != std::string::npos)
        return refuse(ERROR_WINHTTP_INVALID_URL);
    const std::lock_guard guard(httpLock);
    const Connection *const connection = find<Connection>(handle);
    if (connection == nullptr)
        return nullptr;
    const auto request = std::make_shared<HttpRequest>();
    request->message = connection->message;
    request->message.url += text;
    request->handle = newHandle(request);
    addRequest(request);
    return request->handle;
}

BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD length) {
    const std::lock_guard guard(httpLock);
    HttpRequest *const request = findRequest(handle);
    if (request == nullptr)
        return FALSE;
    if (option == WINHTTP_OPTION_CONTEXT_VALUE && value != nullptr && length == sizeof(DWORD_PTR)) {
        std::memcpy(&request->callback.context, value, sizeof(DWORD_PTR));
        return TRUE;
    }
    constexpr DWORD never = WINHTTP_OPTION_REDIRECT_POLICY_NEVER;
    const bool isKnown = option == WINHTTP_OPTION_REDIRECT_POLICY && value != nullptr && length == sizeof never &&
                         std::memcmp(value, &never, sizeof never) == 0;
    return isKnown ? TRUE : fail(ERROR_INVALID_PARAMETER);
}

WINHTTP_STATUS_CALLBACK WINAPI WinHttpSetStatusCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback,
                                                        DWORD notifications, DWORD_PTR) {
    const std::lock_guard guard(httpLock);
    HttpRequest *const request = findRequest(handle);
    if (request == nullptr)
        return WINHTTP_INVALID_STATUS_CALLBACK;
    request->callback.notifications = notifications;
    return std::exchange(request->callback.function, callback);
}

BOOL WINAPI WinHttpSendRequest(HINTERNET handle, LPCWSTR headers, DWORD headersLength, LPVOID body, DWORD bodyLength,
                               DWORD totalLength, DWORD_PTR context) {
    std::optional<std::vector<std::string>> lines = splitHeaders(headers, headersLength);
    if (!lines || bodyLength != totalLength || (body == nullptr && bodyLength != 0))
        return fail(ERROR_INVALID_PARAMETER);
    return begin(handle, HttpStage::Opened, HttpOperation::Send, [&](HttpRequest &request) {
        request.message.headers = std::move(*lines);
        request.message.body = body;
        request.message.bodySize = bodyLength;
        request.transfer = prepareTransfer(request.message);
        if (request.transfer == nullptr)
            return fail(ERROR_WINHTTP_INTERNAL_ERROR);
        request.stage = HttpStage::Started;
        request.callback.context = context;
        return TRUE;
    });
}

BOOL WINAPI WinHttpReceiveResponse(HINTERNET handle, LPVOID reserved) {
    if (reserved != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    return begin(handle, HttpStage::Sent, HttpOperation::Receive, [](HttpRequest &) { return TRUE; });
}

BOOL WINAPI WinHttpQueryDataAvailable(HINTERNET handle, LPDWORD available) {
    if (available != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    return begin(handle, HttpStage::Answered, HttpOperation::Query, [](HttpRequest &) { return TRUE; });
}

BOOL WINAPI WinHttpReadData(HINTERNET handle, LPVOID buffer, DWORD size, LPDWORD read) {
    if (buffer == nullptr || size == 0 || read != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    return begin(handle, HttpStage::Answered, HttpOperation::Read, [&](HttpRequest &request) {
        request.buffer = buffer;
        request.bufferSize = size;
        return TRUE;
    });
}

BOOL WINAPI WinHttpQueryHeaders(HINTERNET handle, DWORD level, LPCWSTR name, LPVOID value, LPDWORD length,
                                LPDWORD index) {
    if (level != (WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER) || name != nullptr || value == nullptr ||
        length == nullptr || *length != sizeof(DWORD) || index != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    const std::lock_guard guard(httpLock);
    HttpRequest *const request = findRequest(handle);
    if (request == nullptr)
        return FALSE;
    if (request->stage != HttpStage::Answered)
        return fail(ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    std::memcpy(value, &request->status, sizeof request->status);
    return TRUE;
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET handle) {
    {
        const std::lock_guard guard(httpLock);
        const auto found = handles.find(handle);
        if (found == handles.end())
            return fail(ERROR_INVALID_HANDLE);
        if (const auto *request = std::get_if<std::shared_ptr<HttpRequest>>(&found->second))
            (*request)->closed = true;
        handles.erase(found);
    }
    wakeNetwork();
    return TRUE;
}
