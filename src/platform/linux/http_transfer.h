// One exchange with a server, over libcurl.
#pragma once

#include "platform/linux/curl_library.h"
#include "platform/win32.h"

#include <array>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace dm::platform {

using HttpClock = std::chrono::steady_clock;

/// How far an exchange is.
enum class HttpProgress { Resolving, Connecting, Sending, Waiting, Answered };

/// Stands for no limit: some weeks.
constexpr std::chrono::milliseconds noHttpLimit(std::numeric_limits<int>::max());

/// A POST.
struct HttpMessage {
    std::string agent;
    /// To resolve, to connect, to send, to receive.
    std::array<std::chrono::milliseconds, 4> limits = {noHttpLimit, noHttpLimit, noHttpLimit, noHttpLimit};
    std::string url;
    std::vector<std::string> headers;
    const void *body = nullptr; ///< has to live until the transfer ends
    DWORD bodySize = 0;
};

struct CurlDeleter {
    void operator()(CURL *easy) const { curl().easyCleanup(easy); }
};
struct CurlListDeleter {
    void operator()(curl_slist *list) const { curl().listFree(list); }
};

/// Any thread may prepare a transfer; it is then the layer's thread's alone.
struct HttpTransfer {
    const HttpMessage &message;                           ///< has to live as long
    std::unique_ptr<curl_slist, CurlListDeleter> headers; ///< outlives `easy`, which reads it
    std::unique_ptr<CURL, CurlDeleter> easy;              ///< null once the transfer has ended
    CURLM *multi = nullptr;                               ///< null until it is started
    HttpProgress progress = HttpProgress::Resolving;
    HttpClock::time_point since; ///< when the exchange last came on
    DWORD status = 0;
    std::string received;       ///< of the body, and not yet taken
    bool paused = false;        ///< libcurl holds back what finds no room in `received`
    std::optional<DWORD> error; ///< how the transfer has ended

    explicit HttpTransfer(const HttpMessage &message) : message(message) {}
    HttpTransfer(const HttpTransfer &) = delete;
    HttpTransfer &operator=(const HttpTransfer &) = delete;
    ~HttpTransfer();
};

/// A transfer that is ready to start. Null where memory runs out or libcurl knows an option no more: what it does not
/// know it would not obey.
std::unique_ptr<HttpTransfer> prepareTransfer(const HttpMessage &message);

/// A failure ends it.
void startTransfer(HttpTransfer &transfer, CURLM *multi);
/// Lets go of the connection. What was received stays.
void endTransfer(HttpTransfer &transfer, DWORD error);
/// The same for a transfer that libcurl has done with.
void endTransfer(HttpTransfer &transfer, CURLcode code);

/// Notes that all has been sent, if that is so.
void noteUpload(HttpTransfer &transfer);
/// Moves what was received into the buffer, as far as it goes; gives the count.
DWORD takeReceived(HttpTransfer &transfer, LPVOID buffer, DWORD size);
/// Lets libcurl hand over what it holds back of the body, if there is room. For a transfer that has not ended.
void resumeTransfer(HttpTransfer &transfer);

/// When the transfer has to have come on at the latest, for a program that has waited since it asked.
HttpClock::time_point limitOf(const HttpTransfer &transfer, HttpClock::time_point asked);

} // namespace dm::platform
