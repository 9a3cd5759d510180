// The thread that makes all HTTP transfers and all their callbacks. The program's calls only note what is wanted and
// wake it: that is what lets every one of them return at once.
#pragma once

#include "platform/linux/http_transfer.h"
#include "platform/win32.h"

#include <memory>
#include <mutex>
#include <string>

namespace dm::platform {

/// What the program waits for, by the number that is reported where it fails.
enum class HttpOperation : DWORD_PTR {
    None = 0,
    Send = API_SEND_REQUEST,
    Receive = API_RECEIVE_RESPONSE,
    Query = API_QUERY_DATA_AVAILABLE,
    Read = API_READ_DATA
};

/// What the program has heard of a request.
enum class HttpStage { Opened, Started, Sent, Answered };

struct HttpCallback {
    WINHTTP_STATUS_CALLBACK function = nullptr;
    DWORD notifications = 0;
    DWORD_PTR context = 0;

    void operator()(HINTERNET handle, DWORD status, LPVOID information = nullptr, DWORD length = 0) const {
        if (function != nullptr && (notifications & status) != 0)
            function(handle, context, status, information, length);
    }
};

/// Guards what the program's threads share with the layer's. Never held during a callback, nor while libcurl touches
/// the network.
inline std::mutex httpLock;

struct HttpRequest {
    HINTERNET handle = nullptr;

    // Guarded by the lock.
    HttpMessage message;
    HttpStage stage = HttpStage::Opened;
    HttpOperation operation = HttpOperation::None;
    HttpClock::time_point asked; ///< when the operation was begun
    bool closed = false;
    HttpCallback callback;
    DWORD status = 0;        ///< of the answer
    LPVOID buffer = nullptr; ///< of a read
    DWORD bufferSize = 0;

    std::unique_ptr<HttpTransfer> transfer; ///< from the start of the request on, and then the layer's thread's
};

/// False with the last error set where there can be no such thread.
bool startNetwork();
/// With the lock held. The thread looks after the request from now until it is closed.
void addRequest(std::shared_ptr<HttpRequest> request);
/// Makes the thread look at what has changed.
void wakeNetwork();

} // namespace dm::platform
