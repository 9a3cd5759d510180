#include "data/http.h"

#include "api_server.h"
#include "environment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

namespace dm {
namespace {

using namespace test;

constexpr std::int64_t twentySeconds = 20'000'000'000;

/// What comes of a request, as one text.
std::string outcome(const std::atomic<bool> *cancelFlag = nullptr, std::string_view body = "{}") {
    try {
        return "answer " + net::postJson(W("/api?x=1"), body, cancelFlag);
    } catch (const net::ApiError &error) {
        return std::string("api error ") + error.what() + '|' + error.code;
    } catch (const net::RequestCancelled &error) {
        return error.what();
    } catch (const net::RequestDeadline &error) {
        return error.what();
    } catch (const std::runtime_error &error) {
        return std::string("error ") + error.what();
    }
}

TEST(Http, SendsExactlyThisAndGivesTheAnswer) {
    ApiServer server;
    server.script({"tls", "read", send(answer("200 OK", "[1]")), "show"});
    const std::string head = "request POST /api?x=1 HTTP/1.1\r\nHost: " + apiHost +
                             "\r\nUser-Agent: Dustmere/1.2.0\r\nContent-Type: application/json\r\n"
                             "Accept: application/json\r\nContent-Length: ";
    EXPECT_EQ(outcome(nullptr, R"({"a":"б"})"), "answer [1]");
    EXPECT_EQ(server.event(), head + "10\r\n\r\n" + R"({"a":"б"})");
    EXPECT_EQ(limitsAskedFor(), (Limits{5000, 5000, 8000, 8000}));
    const std::string large(3'000'000, 'x'); // one that libcurl would ask for leave to send
    EXPECT_EQ(outcome(nullptr, large), "answer [1]");
    EXPECT_TRUE(server.event() == head + "3000000\r\n\r\n" + large);
}

TEST(Http, AnswersOfEveryKind) {
    const std::string limit(131'072, 'x');
    const std::string over = limit + 'y';
    const std::string head = "HTTP/1.1 200 OK\r\n";
    const std::string chunked = head + "Transfer-Encoding: chunked\r\n\r\n";
    const auto chunk = [](const std::string &bytes) {
        char size[16];
        std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
        return size + bytes + "\r\n";
    };
    const auto redirect = [](const std::string &status, const std::string &place) {
        return send("HTTP/1.1 " + status + "\r\nLocation: " + place + "\r\nContent-Length: 2\r\n\r\n{}");
    };
    const struct {
        const char *name;
        std::string expected;
        std::string first;
        std::string last;
    } cases[] = {
        {"empty", "answer ", send(answer("200 OK", "")), ""},
        {"no content", "answer ", send("HTTP/1.1 204 No Content\r\n\r\n"), ""},
        {"other success", "answer x", send(answer("299 Odd", "x")), ""},
        {"after an interim head", "answer x", send("HTTP/1.1 100 Continue\r\n\r\n" + answer("200 OK", "x")), ""},
        {"byte by byte", "answer 12345", trickle(answer("200 OK", "12345")), ""},
        {"until the end", "answer 12345", send(head + "\r\n12345"), ""},
        {"in chunks", "answer 12345", send(chunked + chunk("12") + chunk("345") + chunk("")), ""},
        {"at the limit", "answer " + limit, send(answer("200 OK", limit)), ""},
        {"over it", "error response length", send(answer("200 OK", over)), ""},
        {"at the limit in chunks", "answer " + limit, send(chunked + chunk(limit) + chunk("")), ""},
        {"over it in the last chunk", "error response length", send(chunked + chunk(limit) + chunk("y")), "stall"},
        {"an error over it", "error response length", send(answer("500 No", over)), ""},

        {"server's words", "api error busy|E1", send(answer("500 No", R"({"error":"busy","error_code":"E1"})")), ""},
        {"no words", "api error HTTP 404|", send(answer("404 No", "{}")), ""},
        {"a code alone", "api error HTTP 400|E2", send(answer("400 No", R"({"error_code":"E2"})")), ""},
        {"no object", "api error HTTP 500|", send(answer("500 No", "[]")), ""},
        {"error of another kind", "error JSON string expected", send(answer("500 No", R"({"error":7})")), ""},
        {"code of another kind", "error JSON string expected", send(answer("500 No", R"({"error_code":7})")), ""},
        {"nothing to parse", "error invalid JSON", send(answer("500 No", "")), ""},
        {"redirect", "api error HTTP 302|", redirect("302 Found", "https://" + apiHost + "/x"), ""},
        {"redirect of a POST", "api error HTTP 308|", redirect("308 Gone", "/x"), ""},

        {"closed at once", "error WinHTTP error 12030", "", ""},
        {"dropped in the head", "error WinHTTP error 12030", send(head), "drop"},
        {"reset in the head", "error WinHTTP error 12030", send(head), "reset"},
        {"dropped in the body", "error WinHTTP error 12030", send(head + "Content-Length: 9\r\n\r\nx"), "drop"},
        {"ended in the body", "error WinHTTP error 12030", send(head + "Content-Length: 9\r\n\r\nx"), ""},
        {"reset in the body", "error WinHTTP error 12030", send(chunked + chunk("x")), "reset"},
        {"garbage", "error WinHTTP error 12152", send("\1\2\3 garbage\r\n\r\n"), ""},
        {"broken chunks", "error WinHTTP error 12030", send(chunked + "zz\r\n"), "stall"},
    };
    ApiServer server;
    int requests = 0;
    for (const auto &[name, expected, first, last] : cases) {
        SCOPED_TRACE(name);
        server.script({"tls", "read", first, last});
        EXPECT_EQ(outcome(), expected);
        if (last == "stall") {
            EXPECT_EQ(server.event(), "stalled");
            EXPECT_EQ(server.event(), "gone");
        }
        EXPECT_EQ(server.connections(), ++requests); // no retry, and no redirect followed
    }
}

TEST(Http, TrustsOnlyTheServerItself) {
    for (const char *certificate : {"stranger", "name", "expired"}) {
        SCOPED_TRACE(certificate);
        ApiServer server(certificate);
        server.script({"tls", "read", "show"});
        EXPECT_EQ(outcome(), "error WinHTTP error 12175");
        EXPECT_EQ(server.connections(), 1); // and nothing was shown
    }
}

TEST(Http, NobodyThere) {
    ApiServer server;
    resolveTo(0);
    EXPECT_EQ(outcome(), "error WinHTTP error 12007");
    resolveTo(server.refusingPort);
    EXPECT_EQ(outcome(), "error WinHTTP error 12029");
}

TEST(Http, GoesThroughTheProxyOfTheEnvironment) {
    ApiServer server;
    server.script({"read", "show"});
    const int before = lookups();
    // The test's server serves as the proxy, which is asked for a tunnel and gives none.
    setEnvironment({{"https_proxy", ("http://127.0.0.1:" + std::to_string(server.port)).c_str()}});
    EXPECT_EQ(outcome(), "error WinHTTP error 12030");
    setEnvironment({{"https_proxy", nullptr}});
    EXPECT_TRUE(server.event().starts_with("request CONNECT " + apiHost + ":443 HTTP/1.1\r\n"));
    EXPECT_EQ(lookups(), before);
}

/// Requests come to a standstill in each phase, and then `end` happens, which ends them.
void endInEachPhase(std::atomic<bool> *cancelFlag, const std::function<void()> &end, const char *expected) {
    ApiServer server;
    const auto run = [&](const std::function<void()> &awaitStandstill) {
        std::chrono::steady_clock::time_point ended;
        std::thread ending([&] {
            awaitStandstill();
            ended = std::chrono::steady_clock::now();
            end();
        });
        EXPECT_EQ(outcome(cancelFlag), expected);
        ending.join();
        if (cancelFlag != nullptr)
            *cancelFlag = false;
        // One look at the flag in 50 milliseconds; the rest is room for a machine that has other things to do.
        EXPECT_LT(std::chrono::steady_clock::now() - ended, std::chrono::seconds(4));
    };
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n";
    const std::vector<std::string> scripts[] = {
        {"stall"},
        {"tls", "stall"},
        {"tls", "read", "stall"},
        {"tls", "read", send(head), "stall"},
        {"tls", "read", send(head + "\r\n"), "stall"},
        {"tls", "read", send(head + "\r\n12345"), "stall"},
    };
    for (const auto &script : scripts) {
        server.script(script);
        run([&] { EXPECT_EQ(server.event(), "stalled"); });
        EXPECT_EQ(server.event(), "gone");
    }
    resolveTo(server.stallingPort);
    const int before = lookups();
    run([&] {
        while (lookups() == before)
            std::this_thread::yield();
    });
    // The last, since nothing tells when the layer has let go of the request.
    const StalledResolver stalled;
    run(StalledResolver::awaitLookup);
}

TEST(Http, IsCancelledInEachPhase) {
    std::atomic<bool> cancelled = false;
    endInEachPhase(
        &cancelled, [&] { cancelled = true; }, "request cancelled");
}

TEST(Http, MeetsItsDeadlineInEachPhase) {
    endInEachPhase(
        nullptr, [] { advanceClock(twentySeconds); }, "request deadline");
}

TEST(Http, HasTimeUntilTheDeadline) {
    ApiServer server;
    server.script({"tls", "read", "wait", send(answer("200 OK", "x"))});
    std::thread waiting([&] {
        EXPECT_EQ(server.event(), "waiting");
        advanceClock(twentySeconds - 1);
        server.go();
    });
    EXPECT_EQ(outcome(), "answer x");
    waiting.join();
}

TEST(Http, CancelledBeforeItBegins) {
    const std::atomic<bool> cancelled = true;
    const int before = lookups();
    EXPECT_EQ(outcome(&cancelled), "request cancelled");
    EXPECT_EQ(lookups(), before);
}

} // namespace
} // namespace dm
