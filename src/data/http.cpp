#include "data/http.h"

#include "core/handles.h"
#include "data/http_clock.h"
#include "data/json.h"
#include "platform/win32.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace dm::net {

namespace {

// The server is a setting of the build, so that nothing at run time can send the event elsewhere.
constexpr const WChar *serverName = W("") DUSTMERE_API_HOST;
constexpr const WChar *userAgent = W("Dustmere/1.2.0");
constexpr const WChar *headers = W("Content-Type: application/json\r\nAccept: application/json\r\n");

constexpr std::int64_t deadlineNanoseconds = 20'000'000'000;
constexpr std::size_t maximumBody = 0x20000; // what parseJson takes
constexpr std::size_t readSize = 8192;
/// The flag is set from outside and wakes nobody, so the wait looks at it this often.
constexpr std::chrono::milliseconds waitSlice(50);

struct InternetCloser {
    static void close(HINTERNET handle) { WinHttpCloseHandle(handle); }
};
using OwnedInternet = HandleOwner<InternetCloser>;

/// What a request shares with its callback, which may come when the caller has long gone on.
struct HttpRequestState {
    std::mutex lock; ///< of all that follows
    std::condition_variable changed;
    DWORD status = 0; ///< the callback's last
    DWORD error = 0;
    DWORD value = 0;  ///< the count of bytes that came with the status
    std::string body; ///< sent from here
    std::array<char, readSize> buffer = {};
};

/// The states by the number that the platform hands to the callback. A number that is looked up, and no pointer: a late
/// callback finds nothing and does no harm.
struct Registry {
    std::mutex lock; ///< never held while a state's lock is taken
    std::map<std::uint64_t, std::shared_ptr<HttpRequestState>> states;
    std::uint64_t nextId = 1;
};

/// Never destroyed: the last callback of a request may come when the program is already ending.
Registry &registry() {
    static auto *const instance = new Registry;
    return *instance;
}

std::uint64_t registerState(const std::shared_ptr<HttpRequestState> &state) {
    const std::lock_guard guard(registry().lock);
    const std::uint64_t id = registry().nextId;
    if (id == 0)
        throw std::runtime_error("callback identifier exhausted");
    registry().states.emplace(id, state);
    ++registry().nextId;
    return id;
}

/// Null for a request that is gone. The closing of the handle is the last that is heard of a request, so it forgets it.
std::shared_ptr<HttpRequestState> stateOf(std::uint64_t id, DWORD status) {
    const std::lock_guard guard(registry().lock);
    const auto found = registry().states.find(id);
    if (found == registry().states.end())
        return nullptr;
    std::shared_ptr<HttpRequestState> state = found->second;
    if (status != WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING)
        return state;
    registry().states.erase(found);
    return nullptr;
}

void CALLBACK onStatus(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information, DWORD length) {
    const std::shared_ptr<HttpRequestState> state = stateOf(context, status);
    if (state == nullptr)
        return;
    const std::lock_guard guard(state->lock);
    switch (status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
        state->value = 0;
        break;
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
        state->value = 0;
        if (length >= sizeof state->value)
            std::memcpy(&state->value, information, sizeof state->value);
        else
            state->error = ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
        break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
        state->value = length;
        break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
        state->value = 0;
        state->error = length >= sizeof(WINHTTP_ASYNC_RESULT)
                           ? static_cast<const WINHTTP_ASYNC_RESULT *>(information)->dwError
                           : ERROR_WINHTTP_INTERNAL_ERROR;
        break;
    default:
        return;
    }
    state->status = status;
    state->changed.notify_all();
}

/// Turns the answer of a call into an exception where it is a failure.
void require(bool succeeded, const char *failure) {
    if (!succeeded)
        throw std::runtime_error(failure);
}

/// One exchange with the server, closed on scope exit whatever comes in between.
struct HttpRequest {
    OwnedInternet session;
    OwnedInternet connection;
    OwnedInternet request;
    std::shared_ptr<HttpRequestState> state = std::make_shared<HttpRequestState>();
    std::uint64_t contextId = 0;
    bool callbackRegistered = false;
    const std::atomic<bool> *cancelFlag = nullptr;
    std::int64_t deadline = 0; ///< of monotonicNow

    HttpRequest() = default;
    HttpRequest(const HttpRequest &) = delete;
    HttpRequest &operator=(const HttpRequest &) = delete;
    ~HttpRequest();

    /// Throws where the exchange has to end.
    void check() const;
    void open(const WString &path, std::string_view body);
    /// Makes ready for the next operation's status; throws the error of one before.
    void clear();
    /// Waits for the operation to end and gives the count that came with it.
    DWORD await(DWORD status);
    void send();
    DWORD statusCode() const;
    std::string readBody();
};

HttpRequest::~HttpRequest() {
    request.reset();
    // Without a callback no closing is ever reported.
    if (contextId != 0 && !callbackRegistered) {
        const std::lock_guard guard(registry().lock);
        registry().states.erase(contextId);
    }
    state.reset();
    connection.reset();
    session.reset();
}

void HttpRequest::check() const {
    if (cancelFlag != nullptr && *cancelFlag)
        throw RequestCancelled();
    if (monotonicNow() >= deadline)
        throw RequestDeadline();
}

void HttpRequest::open(const WString &path, std::string_view body) {
    check();
    state->body = body;
    session = OwnedInternet(WinHttpOpen(userAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                        WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
    require(static_cast<bool>(session), "network session");
    require(WinHttpSetTimeouts(session.get(), 5000, 5000, 8000, 8000), "network timeout configuration");
    check();
    connection = OwnedInternet(WinHttpConnect(session.get(), serverName, INTERNET_DEFAULT_HTTPS_PORT, 0));
    require(static_cast<bool>(connection), "connect");
    check();
    request = OwnedInternet(WinHttpOpenRequest(connection.get(), W("POST"), path.c_str(), nullptr, WINHTTP_NO_REFERER,
                                               WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_SECURE));
    require(static_cast<bool>(request), "request");
    // A redirect would carry the request to a server that nobody here has named.
    DWORD policy = WINHTTP_OPTION_REDIRECT_POLICY_NEVER;
    require(WinHttpSetOption(request.get(), WINHTTP_OPTION_REDIRECT_POLICY, &policy, sizeof policy), "redirect policy");
    contextId = registerState(state);
    DWORD_PTR context = contextId;
    require(WinHttpSetOption(request.get(), WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context),
            "callback context");
    require(WinHttpSetStatusCallback(request.get(), onStatus,
                                     WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES,
                                     0) != WINHTTP_INVALID_STATUS_CALLBACK,
            "callback registration");
    callbackRegistered = true;
    check();
}

[[noreturn]] void throwPlatformError(DWORD error) {
    throw std::runtime_error("WinHTTP error " + std::to_string(error));
}

void HttpRequest::clear() {
    const std::lock_guard guard(state->lock);
    if (state->error != 0)
        throwPlatformError(state->error);
    state->status = 0;
    state->value = 0;
}

DWORD HttpRequest::await(DWORD status) {
    std::unique_lock guard(state->lock);
    for (;;) {
        check();
        if (state->error != 0)
            throwPlatformError(state->error);
        if (state->status == status)
            return state->value;
        const std::chrono::nanoseconds left(deadline - monotonicNow());
        state->changed.wait_for(guard, std::min<std::chrono::nanoseconds>(left, waitSlice));
    }
}

void HttpRequest::send() {
    check();
    clear();
    std::string &body = state->body;
    require(body.size() <= std::numeric_limits<DWORD>::max(), "send request");
    const auto length = static_cast<DWORD>(body.size());
    require(WinHttpSendRequest(request.get(), headers, static_cast<DWORD>(-1), body.data(), length, length, contextId),
            "send request");
    await(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE);
    clear();
    require(WinHttpReceiveResponse(request.get(), nullptr), "receive response");
    await(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE);
}

DWORD HttpRequest::statusCode() const {
    check();
    DWORD code = 0;
    DWORD length = sizeof code;
    require(WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                                WINHTTP_HEADER_NAME_BY_INDEX, &code, &length, WINHTTP_NO_HEADER_INDEX),
            "HTTP status");
    return code;
}

std::string HttpRequest::readBody() {
    std::string body;
    for (;;) {
        check();
        clear();
        require(WinHttpQueryDataAvailable(request.get(), nullptr), "data available");
        const DWORD available = await(WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE);
        if (available == 0)
            return body;
        require(available <= maximumBody - body.size(), "response length");
        const DWORD chunk = std::min<DWORD>(available, readSize);
        check();
        clear();
        require(WinHttpReadData(request.get(), state->buffer.data(), chunk, nullptr), "read");
        const DWORD count = await(WINHTTP_CALLBACK_STATUS_READ_COMPLETE);
        require(count <= chunk && count <= maximumBody - body.size(), "response length");
        if (count == 0)
            return body;
        body.append(state->buffer.data(), count);
    }
}

/// What the server says about a failure.
[[noreturn]] void throwApiError(DWORD status, std::string_view body) {
    const JsonValue answer = parseJson(body);
    std::string message = "HTTP " + std::to_string(status);
    std::string code;
    if (const auto member = answer.object.find("error"); member != answer.object.end())
        message = jsonString(member->second);
    if (const auto member = answer.object.find("error_code"); member != answer.object.end())
        code = jsonString(member->second);
    throw ApiError(message, std::move(code));
}

} // namespace

ApiError::ApiError(const std::string &message, std::string code) : std::runtime_error(message), code(std::move(code)) {}

std::string postJson(const WString &path, std::string_view body, const std::atomic<bool> *cancelFlag) {
    HttpRequest request;
    request.cancelFlag = cancelFlag;
    request.deadline = monotonicNow() + deadlineNanoseconds;
    request.open(path, body);
    request.send();
    const DWORD status = request.statusCode();
    std::string answer = request.readBody();
    request.check();
    if (status < 200 || status > 299)
        throwApiError(status, answer);
    return answer;
}

} // namespace dm::net
