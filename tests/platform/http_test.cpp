// The asynchronous calls themselves: what the program's client does not reach.
#include "api_server.h"

#include "platform/text.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <thread>

namespace dm {
namespace {

using namespace test;

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
        while (!closed_)
            next();
        WinHttpCloseHandle(connection);
        WinHttpCloseHandle(session);
    }

    BOOL send() {
        const auto length = static_cast<DWORD>(body.size());
        return WinHttpSendRequest(request, nullptr, 0, body.data(), length, length, reinterpret_cast<DWORD_PTR>(this));
    }
    BOOL receive() { return WinHttpReceiveResponse(request, nullptr); }
    BOOL query() { return WinHttpQueryDataAvailable(request, nullptr); }
    BOOL read() { return WinHttpReadData(request, buffer, sizeof buffer, nullptr); }
    void close() { WinHttpCloseHandle(request); }

    /// Waits for the next report.
    std::string next() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return !reports_.empty(); });
        std::string report = reports_.front();
        reports_.pop_front();
        closed_ = report == "closed";
        EXPECT_TRUE(!closed_ || reports_.empty()) << "a report after the last";
        return report;
    }

    HINTERNET session;
    HINTERNET connection;
    HINTERNET request;
    std::string body = "{}";
    char buffer[5000] = {};

private:
    static std::string textOf(DWORD status, LPVOID information, DWORD length) {
        const auto *const result = static_cast<WINHTTP_ASYNC_RESULT *>(information);
        switch (status) {
        case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
            return "sent";
        case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
            return "head";
        case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
            return "available " + std::to_string(*static_cast<DWORD *>(information));
        case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
            return "read " + std::to_string(length);
        case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
            return "error " + std::to_string(result->dwError) + " in " + std::to_string(result->dwResult);
        default:
            return status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING ? "closed" : "unknown";
        }
    }
    static void CALLBACK note(HINTERNET, DWORD_PTR context, DWORD status, LPVOID information, DWORD length) {
        auto &exchange = *reinterpret_cast<Exchange *>(context);
        const std::lock_guard guard(exchange.lock_);
        exchange.reports_.push_back(textOf(status, information, length));
        exchange.changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<std::string> reports_;
    bool closed_ = false;
};

TEST(WinHttp, EachPhaseHasItsLimit) {
    const auto sendWithin = [](const Limits &limits) {
        Exchange exchange(limits);
        exchange.body.resize(30'000'000); // more than the system takes off our hands
        exchange.send();
        EXPECT_EQ(exchange.next(), "error 12002 in 5");
    };
    {
        const StalledResolver stalled;
        sendWithin({1, 0, 0, 0});
    }
    ApiServer server;
    resolveTo(server.stallingPort);
    sendWithin({0, 1, 0, 0});
    resolveTo(server.port);
    server.script({"stall"}); // connected, but never secured
    sendWithin({0, 1, 0, 0});
    server.script({"tls", "wait"});
    sendWithin({0, 0, 1, 0});

    server.script({"tls", "read", "stall"});
    Exchange exchange({0, 0, 0, 1});
    exchange.send();
    EXPECT_EQ(exchange.next(), "sent");
    for (int time = 0; time < 2; ++time) { // what has failed stays failed
        EXPECT_TRUE(exchange.receive());
        EXPECT_EQ(exchange.next(), "error 12002 in 1");
    }
}

TEST(WinHttp, AWriteToAClosedConnectionIsAnErrorAndNoSignal) {
    ApiServer server;
    server.script({"tls", "shut", "reset"});
    Exchange exchange;
    exchange.body.resize(30'000'000);
    exchange.send();
    EXPECT_EQ(exchange.next(), "error 12030 in 5");
}

TEST(WinHttp, RefusesWhatWouldBeSentOtherwiseThanAsked) {
    const StalledResolver stalled;
    Exchange exchange;
    const auto refused = [](auto result, DWORD code) { return !result && GetLastError() == code; };
    const auto open = [&](LPCWSTR path, DWORD flags) {
        return WinHttpOpenRequest(exchange.connection, W("POST"), path, nullptr, nullptr, nullptr, flags);
    };
    EXPECT_TRUE(refused(open(W("/"), 0), ERROR_INVALID_PARAMETER)); // in the clear
    for (const WChar *path : {W("x"), W("/ x"), W("/#x"), W("/ä")})
        EXPECT_TRUE(refused(open(path, WINHTTP_FLAG_SECURE), ERROR_WINHTTP_INVALID_URL));
    for (const WChar *headers : {W("A: b"), W("A: b\nC: d\r\n"), W("A:\r\n"), W("\r\n"), W("Ä: b\r\n")})
        EXPECT_TRUE(refused(WinHttpSendRequest(exchange.request, headers, static_cast<DWORD>(-1), nullptr, 0, 0, 0),
                            ERROR_INVALID_PARAMETER));
}

/// Comes so far through an exchange, lets a moment go by and closes: whatever was begun is reported, and then the end.
void closeAfter(int operations, int turns) {
    Exchange exchange;
    for (int operation = 0; operation < operations; ++operation) {
        ASSERT_TRUE(operation == 0 || !exchange.next().starts_with("error"));
        EXPECT_TRUE(operation == 0   ? exchange.send()
                    : operation == 1 ? exchange.receive()
                    : operation == 2 ? exchange.query()
                                     : exchange.read());
    }
    for (int turn = 0; turn < turns; ++turn)
        std::this_thread::yield();
    exchange.close();
    if (operations > 0) {
        const std::string report = exchange.next();
        EXPECT_TRUE(report != "closed" && (report.starts_with("error 12017") || !report.starts_with("error")))
            << report;
    }
    EXPECT_EQ(exchange.next(), "closed");
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
