#include "api_server.h"

#include "data/http_clock.h"
#include "platform/linux/http_trust.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <system_error>

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string authority;
std::atomic<std::int64_t> clockNow = 1;
dm::test::Limits lastLimits = {};

struct Resolver {
    std::mutex lock;
    std::condition_variable changed;
    int port = 0;
    int lookups = 0;
    int waiting = 0;
    bool stalled = false;
} resolver;

std::string hexOf(std::string_view bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

} // namespace

// The following stand in the place of the program's own, which the linker then leaves out or, for the limits, wraps,
// and of the C library's: no test can ask a real resolver for anything.
const char *dm::platform::authorityFile() {
    return authority.c_str();
}

std::int64_t dm::net::monotonicNow() {
    return clockNow;
}

BOOL realSetTimeouts(HINTERNET session, int resolve, int connect, int send,
                     int receive) asm("__real__Z18WinHttpSetTimeoutsPviiii");
BOOL wrapSetTimeouts(HINTERNET session, int resolve, int connect, int send,
                     int receive) asm("__wrap__Z18WinHttpSetTimeoutsPviiii");
BOOL wrapSetTimeouts(HINTERNET session, int resolve, int connect, int send, int receive) {
    lastLimits = {resolve, connect, send, receive};
    return realSetTimeouts(session, 0, 0, 0, 0);
}

extern "C" int getaddrinfo(const char *node, const char *, const addrinfo *hints, addrinfo **result) {
    std::unique_lock guard(resolver.lock);
    ++resolver.lookups;
    ++resolver.waiting;
    resolver.changed.notify_all();
    resolver.changed.wait(guard, [] { return !resolver.stalled; });
    --resolver.waiting;
    resolver.changed.notify_all();
    if (resolver.port == 0 || node != dm::test::apiHost)
        return EAI_NONAME;
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return real("127.0.0.1", std::to_string(resolver.port).c_str(), hints, result);
}

namespace dm::test {

const std::string apiHost = DUSTMERE_API_HOST;

int lookups() {
    const std::lock_guard guard(resolver.lock);
    return resolver.lookups;
}

void resolveTo(int port) {
    const std::lock_guard guard(resolver.lock);
    resolver.port = port;
}

StalledResolver::StalledResolver() {
    const std::lock_guard guard(resolver.lock);
    resolver.stalled = true;
}

StalledResolver::~StalledResolver() {
    std::unique_lock guard(resolver.lock);
    resolver.stalled = false;
    resolver.changed.notify_all();
    resolver.changed.wait(guard, [] { return resolver.waiting == 0; });
}

void StalledResolver::awaitLookup() {
    std::unique_lock guard(resolver.lock);
    resolver.changed.wait(guard, [] { return resolver.waiting != 0; });
}

void advanceClock(std::int64_t nanoseconds) {
    clockNow += nanoseconds;
}

Limits limitsAskedFor() {
    return lastLimits;
}

BOOL setLimits(HINTERNET session, const Limits &limits) {
    return realSetTimeouts(session, limits[0], limits[1], limits[2], limits[3]);
}

ApiServer::ApiServer(const std::string &certificate) {
    std::string folder = std::filesystem::temp_directory_path() / "server-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), folder);
    authority = folder + "/authority.pem";

    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    const char *arguments[] = {TEST_PYTHON, TEST_SERVER, apiHost.c_str(), folder.c_str(), certificate.c_str(), nullptr};
    const int error = posix_spawnp(&process_, TEST_PYTHON, &actions, nullptr, const_cast<char **>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    input_ = fdopen(input[1], "w");
    output_ = fdopen(output[0], "r");
    if (error != 0 || std::fscanf(output_, "ready %d %d %d%*c", &port, &refusingPort, &stallingPort) != 3)
        throw std::runtime_error("The test's server does not start");
    resolveTo(port);
}

ApiServer::~ApiServer() {
    resolveTo(0);
    std::fclose(input_);
    waitpid(process_, nullptr, 0);
    std::fclose(output_);
}

void ApiServer::command(const std::string &line) {
    std::fputs((line + '\n').c_str(), input_);
    std::fflush(input_);
}

std::string ApiServer::event() {
    char *text = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = getline(&text, &capacity, output_);
    std::string line(text, length > 0 ? static_cast<std::size_t>(length) - 1 : 0);
    std::free(text);
    if (!line.starts_with("request "))
        return line;
    std::string request = "request ";
    for (std::size_t at = request.size(); at < line.size(); at += 2)
        request += static_cast<char>(std::stoi(line.substr(at, 2), nullptr, 16));
    return request;
}

void ApiServer::script(const std::vector<std::string> &steps) {
    std::string line;
    for (const std::string &step : steps)
        line += step + ' ';
    command(line);
    std::string told = event();
    while (!told.empty() && told != "scripted")
        told = event();
    EXPECT_EQ(told, "scripted");
}

void ApiServer::go() {
    command("go");
}

int ApiServer::connections() {
    command("count");
    const std::string count = event();
    EXPECT_TRUE(count.starts_with("connections ")) << count;
    return std::stoi(count.substr(12));
}

std::string send(std::string_view bytes) {
    return "send:" + hexOf(bytes);
}

std::string trickle(std::string_view bytes) {
    return "trickle:" + hexOf(bytes);
}

std::string answer(std::string_view status, std::string_view body) {
    return "HTTP/1.1 " + std::string(status) + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           std::string(body);
}

} // namespace dm::test
