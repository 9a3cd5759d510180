// The asynchronous calls themselves: what the program's client does not reach.
#include "api_server.h"

#include "platform/text.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <thread>

namespace dm {
namespace {

using namespace test;

struct Event {
    DWORD status = 0;
    DWORD count = 0;         ///< of bytes that are there or were read
    DWORD_PTR operation = 0; ///< that failed
    DWORD error = 0;
    std::thread::id thread;
};

/// One request and all that is reported of it.
class Exchange {
public:
    explicit Exchange(const Limits &limits = {}) {
        session = WinHttpOpen(W("agent"), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, nullptr, nullptr, WINHTTP_FLAG_ASYNC);
        EXPECT_TRUE(setLimits(session, limits));
        connection = WinHttpConnect(session, WString(apiHost.begin(), apiHost.end()).c_str(), 443, 0);
        request = WinHttpOpenRequest(connection, W("POST"), W("/"), nullptr, nullptr, nullptr, WINHTTP_FLAG_SECURE);
        auto context = reinterpret_cast<DWORD_PTR>(this);
        EXPECT_TRUE(WinHttpSetOption(request, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context));
        EXPECT_EQ(WinHttpSetStatusCallback(request, note, 0xFFFFFFFF, 0), nullptr);
    }
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;
    ~Exchange() {
        close();
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return closed_; });
        WinHttpCloseHandle(connection);
        WinHttpCloseHandle(session);
    }

    /// The first, second, … operation of an exchange.
    BOOL begin(int operation) {
        const auto length = static_cast<DWORD>(body.size());
        switch (operation) {
        case 0:
            return WinHttpSendRequest(request, nullptr, 0, body.data(), length, length,
                                      reinterpret_cast<DWORD_PTR>(this));
        case 1:
            return WinHttpReceiveResponse(request, nullptr);
        case 2:
            return WinHttpQueryDataAvailable(request, nullptr);
        default:
            return WinHttpReadData(request, buffer, sizeof buffer, nullptr);
        }
    }
    void close() { WinHttpCloseHandle(request); }
    Event next() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return !events_.empty(); });
        const Event event = events_.front();
        events_.pop_front();
        return event;
    }
    /// Expects success and gives the count.
    DWORD perform(int operation) {
        constexpr DWORD statuses[] = {WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE,
                                      WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE, WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE,
                                      WINHTTP_CALLBACK_STATUS_READ_COMPLETE};
        EXPECT_TRUE(begin(operation)) << GetLastError();
        const Event event = next();
        EXPECT_EQ(event.status, statuses[operation]) << event.error;
        return event.count;
    }
    void expectFailure(DWORD_PTR operation, DWORD error) {
        const Event event = next();
        EXPECT_EQ(event.status, DWORD{WINHTTP_CALLBACK_STATUS_REQUEST_ERROR});
        EXPECT_EQ(event.operation, operation);
        EXPECT_EQ(event.error, error);
    }

    HINTERNET session;
    HINTERNET connection;
    HINTERNET request;
    std::string body = "{}";
    char buffer[5000] = {};

private:
    static void CALLBACK note(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information, DWORD length) {
        auto &exchange = *reinterpret_cast<Exchange *>(context);
        Event event = {status, length, 0, 0, std::this_thread::get_id()};
        if (status == WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE)
            event.count = *static_cast<DWORD *>(information);
        if (status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR) {
            event.operation = static_cast<WINHTTP_ASYNC_RESULT *>(information)->dwResult;
            event.error = static_cast<WINHTTP_ASYNC_RESULT *>(information)->dwError;
        }
        const std::lock_guard guard(exchange.lock_);
        EXPECT_FALSE(exchange.closed_) << "a callback after the last";
        exchange.closed_ = status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING;
        exchange.events_.push_back(event);
        exchange.changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Event> events_;
    bool closed_ = false;
};

TEST(WinHttp, ReportsEachOperationOnceOnItsOwnThread) {
    ApiServer server;
    std::string body;
    for (int byte = 0; byte < 1'000'000; ++byte) // more than is held here, so that the server has to wait
        body += static_cast<char>(byte * 31 % 251);
    server.script({"tls", "read", send(answer("201 Made", body))});
    Exchange exchange;
    exchange.perform(0);
    // What it was opened from is needed no longer.
    EXPECT_TRUE(WinHttpCloseHandle(exchange.session));
    EXPECT_TRUE(WinHttpCloseHandle(exchange.connection));
    exchange.perform(1);
    DWORD status = 0;
    DWORD length = sizeof status;
    EXPECT_TRUE(WinHttpQueryHeaders(exchange.request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, nullptr,
                                    &status, &length, nullptr));
    EXPECT_EQ(status, 201U);

    std::string received;
    for (;;) {
        const DWORD available = exchange.perform(2);
        const DWORD count = exchange.perform(3);
        EXPECT_EQ(count, std::min<DWORD>(available, sizeof exchange.buffer));
        if (count == 0)
            break;
        received.append(exchange.buffer, count);
    }
    EXPECT_TRUE(received == body);

    exchange.close();
    const Event last = exchange.next();
    EXPECT_EQ(last.status, DWORD{WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING});
    EXPECT_NE(last.thread, std::this_thread::get_id());
}

TEST(WinHttp, ClosingWaitsForNoResolver) {
    const StalledResolver stalled;
    Exchange exchange;
    exchange.begin(0);
    StalledResolver::awaitLookup();
    exchange.close();
    EXPECT_FALSE(exchange.begin(1));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    exchange.expectFailure(API_SEND_REQUEST, ERROR_WINHTTP_OPERATION_CANCELLED);
    EXPECT_EQ(exchange.next().status, DWORD{WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING});
}

TEST(WinHttp, OneStalledRequestHoldsUpNoOther) {
    ApiServer server;
    server.script({"tls", "read", "stall"});
    Exchange stalled;
    stalled.perform(0);
    EXPECT_EQ(server.event(), "stalled");
    server.script({"tls", "read", send(answer("200 OK", ""))});
    Exchange other;
    other.perform(0);
    other.perform(1);
}

TEST(WinHttp, EachPhaseHasItsLimit) {
    {
        const StalledResolver stalled;
        Exchange exchange({1, 0, 0, 0});
        exchange.begin(0);
        exchange.expectFailure(API_SEND_REQUEST, ERROR_WINHTTP_TIMEOUT);
    }
    ApiServer server;
    resolveTo(server.stallingPort);
    const auto sendWithin = [](const Limits &limits) {
        Exchange exchange(limits);
        exchange.body.resize(30'000'000); // more than the system takes off our hands
        exchange.begin(0);
        exchange.expectFailure(API_SEND_REQUEST, ERROR_WINHTTP_TIMEOUT);
    };
    sendWithin({0, 1, 0, 0});
    resolveTo(server.port);
    server.script({"stall"}); // connected, but never secured
    sendWithin({0, 1, 0, 0});
    server.script({"tls", "wait"});
    sendWithin({0, 0, 1, 0});

    server.script({"tls", "read", "stall"});
    Exchange exchange({0, 0, 0, 1});
    exchange.perform(0);
    for (int time = 0; time < 2; ++time) { // what has failed stays failed
        EXPECT_TRUE(exchange.begin(1));
        exchange.expectFailure(API_RECEIVE_RESPONSE, ERROR_WINHTTP_TIMEOUT);
    }
}

TEST(WinHttp, AWriteToAClosedConnectionIsAnErrorAndNoSignal) {
    ApiServer server;
    server.script({"tls", "shut", "reset"});
    Exchange exchange;
    exchange.body.resize(30'000'000);
    exchange.begin(0);
    exchange.expectFailure(API_SEND_REQUEST, ERROR_WINHTTP_CONNECTION_ERROR);
}

TEST(WinHttp, RefusesWhatItDoesNotSupport) {
    const StalledResolver stalled;
    Exchange exchange;
    DWORD number = 2;
    DWORD length = sizeof number;
    const HINTERNET request = exchange.request;
    const HINTERNET session = exchange.session;
    const auto refused = [](auto result, DWORD code) { return !result && GetLastError() == code; };
    const auto open = [&](LPCWSTR verb, LPCWSTR path, DWORD flags) {
        return WinHttpOpenRequest(exchange.connection, verb, path, nullptr, nullptr, nullptr, flags);
    };
    const auto status = [&](HINTERNET handle) {
        return WinHttpQueryHeaders(handle, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, nullptr, &number,
                                   &length, nullptr);
    };

    EXPECT_TRUE(refused(WinHttpOpen(W("a"), 1, nullptr, nullptr, WINHTTP_FLAG_ASYNC), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(WinHttpOpen(W("a"), 0, nullptr, nullptr, 0), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(WinHttpOpen(W("a\r\nb: c"), 0, nullptr, nullptr, WINHTTP_FLAG_ASYNC), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(setLimits(session, {-2, 0, 0, 0}), ERROR_INVALID_PARAMETER));
    for (const WChar *server : {W("a/b"), W("a@b"), W("a:1"), W("a b")})
        EXPECT_TRUE(refused(WinHttpConnect(session, server, 443, 0), ERROR_WINHTTP_INVALID_URL));
    for (const WChar *path : {W("x"), W("/ x"), W("/#x"), W("/ä")})
        EXPECT_TRUE(refused(open(W("POST"), path, WINHTTP_FLAG_SECURE), ERROR_WINHTTP_INVALID_URL));
    EXPECT_TRUE(refused(open(W("GET"), W("/"), WINHTTP_FLAG_SECURE), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(refused(open(W("POST"), W("/"), 0), ERROR_INVALID_PARAMETER)); // in the clear
    EXPECT_TRUE(refused(WinHttpSetOption(request, WINHTTP_OPTION_REDIRECT_POLICY, &number, sizeof number),
                        ERROR_INVALID_PARAMETER));
    for (const WChar *headers : {W("A: b"), W("A: b\nC: d\r\n"), W("A:\r\n"), W("\r\n"), W("Ä: b\r\n")})
        EXPECT_TRUE(refused(WinHttpSendRequest(request, headers, static_cast<DWORD>(-1), nullptr, 0, 0, 0),
                            ERROR_INVALID_PARAMETER));

    EXPECT_TRUE(refused(WinHttpCloseHandle(nullptr), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(refused(status(&number), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(refused(status(session), ERROR_WINHTTP_INCORRECT_HANDLE_TYPE));
    EXPECT_TRUE(refused(status(request), ERROR_WINHTTP_INCORRECT_HANDLE_STATE));
    for (const int operation : {1, 2, 3})
        EXPECT_TRUE(refused(exchange.begin(operation), ERROR_WINHTTP_INCORRECT_HANDLE_STATE));
    EXPECT_TRUE(exchange.begin(0));
    for (const int operation : {0, 1})
        EXPECT_TRUE(refused(exchange.begin(operation), ERROR_WINHTTP_INCORRECT_HANDLE_STATE));
}

/// Comes so far through an exchange, lets a moment go by and closes; whatever was begun is reported, and the closing
/// after it.
void closeAfter(int operations, int turns) {
    Exchange exchange;
    for (int operation = 0; operation < operations; ++operation) {
        if (operation + 1 < operations)
            exchange.perform(std::min(operation, 3));
        else
            EXPECT_TRUE(exchange.begin(std::min(operation, 3)));
    }
    for (int turn = 0; turn < turns; ++turn)
        std::this_thread::yield();
    exchange.close();
    if (operations > 0) {
        const Event event = exchange.next();
        EXPECT_NE(event.status, DWORD{WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING});
        EXPECT_TRUE(event.error == 0 || event.error == ERROR_WINHTTP_OPERATION_CANCELLED) << event.error;
    }
    EXPECT_EQ(exchange.next().status, DWORD{WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING});
}

TEST(WinHttp, ClosingInEveryState) {
    ApiServer server;
    server.script({"tls", "read", send(answer("200 OK", "12345"))});
    const auto work = [](unsigned seed) {
        std::mt19937 random(seed);
        for (int round = 0; round < 300; ++round)
            closeAfter(static_cast<int>(random() % 6), static_cast<int>(random() % 64));
    };
    std::thread other(work, 1);
    work(2);
    other.join();
}

} // namespace
} // namespace dm
