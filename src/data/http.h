// The client of the system's own server: one JSON document by HTTPS POST, with a deadline and quick cancellation.
#pragma once

#include "platform/text.h"

#include <atomic>
#include <stdexcept>
#include <string>
#include <string_view>

namespace dm::net {

/// The server answered with a status outside 200 to 299. The message is what it says about it, or "HTTP " and the
/// status.
struct ApiError : std::runtime_error {
    std::string code; ///< the server's word for it, or empty

    ApiError(const std::string &message, std::string code);
};

/// The exchange was not over in time.
struct RequestDeadline : std::runtime_error {
    RequestDeadline() : std::runtime_error("request deadline") {}
};

/// The cancel flag was set.
struct RequestCancelled : std::runtime_error {
    RequestCancelled() : std::runtime_error("request cancelled") {}
};

/// Sends the document to the path (with its query) on the server and gives the body of the answer, at most 131,072
/// bytes and not parsed. Blocks for at most 20 seconds, and for about 50 milliseconds once the flag (which may be null)
/// is set. Throws the above; what parseJson and jsonString throw for the body of an answer outside 200 to 299;
/// otherwise a runtime error with a short phrase or "WinHTTP error " and the platform's number.
std::string postJson(const WString &path, std::string_view body, const std::atomic<bool> *cancelFlag);

} // namespace dm::net
