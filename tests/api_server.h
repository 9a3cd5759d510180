// A TLS server of the tests' own in the place of the program's: the test says what the host's name leads to, whom the
// layer trusts and what time the client's deadline goes by.
#pragma once

#include "platform/win32.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace dm::test {

/// In a process of its own. While it stands, its authority is the one that is trusted and the host's name leads to it.
class ApiServer {
public:
    /// The certificate is "good", of a "stranger", for another "name" or "expired".
    explicit ApiServer(const std::string &certificate = "good");
    ApiServer(const ApiServer &) = delete;
    ApiServer &operator=(const ApiServer &) = delete;
    ~ApiServer();

    /// What is done with each connection from now on: "tls", "read", "show" (tells what was read), send(…), trickle(…),
    /// "stall" (until the client goes), "wait" (for go), "shut", "reset", "drop" (no TLS end). After the last step
    /// comes an orderly end. What was told before is forgotten.
    void script(const std::vector<std::string> &steps);
    void go();
    int connections();
    /// The next thing that the server tells: "request …" (with its bytes), "stalled", "gone", "waiting".
    std::string event();

    int port = 0;
    int refusingPort = 0; ///< nobody listens there
    int stallingPort = 0; ///< connections are never completed there

private:
    void command(const std::string &line);

    pid_t process_ = 0;
    std::FILE *input_ = nullptr;
    std::FILE *output_ = nullptr;
};

std::string send(std::string_view bytes);
/// Each byte in a TLS record of its own, some milliseconds after the one before.
std::string trickle(std::string_view bytes);
/// A head with the length of the body, and the body.
std::string answer(std::string_view status, std::string_view body);

/// The name of the server that the client was built for, and the number of times that it was looked up.
extern const std::string apiHost;
int lookups();
/// What that name leads to: a port of this machine, or 0 for nothing.
void resolveTo(int port);

/// Look-ups do not come back while this stands.
struct StalledResolver {
    StalledResolver();
    StalledResolver(const StalledResolver &) = delete;
    StalledResolver &operator=(const StalledResolver &) = delete;
    ~StalledResolver();
    /// Waits until somebody is waiting in a look-up.
    static void awaitLookup();
};

/// The client's clock stands still but for this.
void advanceClock(std::int64_t nanoseconds);

/// Milliseconds to resolve, to connect, to send and to receive.
using Limits = std::array<int, 4>;
/// What a session was last given. They count in real time, so it goes without them: no test depends on the machine.
Limits limitsAskedFor();
/// Gives them to the session all the same.
BOOL setLimits(HINTERNET session, const Limits &limits);

} // namespace dm::test
