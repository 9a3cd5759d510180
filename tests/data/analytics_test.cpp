#include "data/analytics.h"

#include "api_server.h"

#include <gtest/gtest.h>

#include <limits>

namespace dm {
namespace {

using namespace test;

const std::atomic<bool> goOn = false;
const std::atomic<bool> cancelled = true;

TEST(Analytics, SendsTheCountsAndNothingElse) {
    ApiServer server;
    server.script({"tls", "read", "show", send(answer("500 No", "not even JSON"))});
    Settings settings;
    settings.consent = true;
    settings.language = "de";
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    const struct {
        std::uint64_t bytes, files;
        const char *body;
    } cases[] = {
        {1048576, 12, R"({"event":"cleanup","bytes_deleted":1048576,"files_deleted":12})"},
        {0, 0, R"({"event":"cleanup","bytes_deleted":0,"files_deleted":0})"},
        {most, most - 1,
         R"({"event":"cleanup","bytes_deleted":18446744073709551615,"files_deleted":18446744073709551614})"},
    };
    for (const auto &[bytes, files, body] : cases) {
        sendUsageEvent(settings, bytes, files, goOn);
        EXPECT_EQ(server.event(), "request POST /api/index.php?route=v1/events HTTP/1.1\r\nHost: " + apiHost +
                                      "\r\nUser-Agent: Dustmere/1.2.0\r\nContent-Type: application/json\r\n"
                                      "Accept: application/json\r\nContent-Length: " +
                                      std::to_string(std::string_view(body).size()) + "\r\n\r\n" + body);
    }
}

TEST(Analytics, WithoutConsentNothingLeaves) {
    ApiServer server;
    server.script({"tls", "read", send(answer("200 OK", ""))});
    const int before = lookups();
    Settings settings;
    settings.consentChosen = true;
    sendUsageEvent(settings, 1, 2, goOn);
    settings.consent = true;
    sendUsageEvent(settings, 1, 2, cancelled);
    EXPECT_EQ(lookups(), before);
    EXPECT_EQ(server.connections(), 0);
    sendUsageEvent(settings, 1, 2, goOn);
    EXPECT_EQ(server.connections(), 1); // so that it would have been seen
}

} // namespace
} // namespace dm
