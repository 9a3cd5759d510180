#include "platform/linux/http_network.h"

#include "platform/linux/errors.h"

#include <algorithm>
#include <csignal>
#include <list>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

namespace dm::platform {

namespace {

/// True if there is what the operation waits for.
bool isDone(HttpOperation operation, const HttpTransfer &transfer) {
    switch (operation) {
    case HttpOperation::Send:
        return transfer.progress >= HttpProgress::Waiting;
    case HttpOperation::Receive:
        return transfer.progress >= HttpProgress::Answered;
    default:
        return !transfer.received.empty() || transfer.error == DWORD{ERROR_SUCCESS};
    }
}

void reportError(const HttpRequest &request, const HttpCallback &callback, HttpOperation operation, DWORD error) {
    WINHTTP_ASYNC_RESULT result = {static_cast<DWORD_PTR>(operation), error};
    callback(request.handle, WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, &result, sizeof result);
}

/// Ends the operation, which is done or has failed. The lock comes held and is gone before the callback, in which the
/// program may begin the next one.
void report(HttpRequest &request, std::unique_lock<std::mutex> guard) {
    HttpTransfer &transfer = *request.transfer;
    const HttpCallback callback = request.callback;
    const HttpOperation operation = std::exchange(request.operation, HttpOperation::None);
    const LPVOID buffer = request.buffer;
    DWORD count = 0;
    if (!isDone(operation, transfer)) {
        guard.unlock();
        reportError(request, callback, operation, *transfer.error);
        return;
    }
    switch (operation) {
    case HttpOperation::Send:
        request.stage = HttpStage::Sent;
        guard.unlock();
        callback(request.handle, WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE);
        break;
    case HttpOperation::Receive:
        request.stage = HttpStage::Answered;
        request.status = transfer.status;
        guard.unlock();
        callback(request.handle, WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE);
        break;
    case HttpOperation::Query:
        guard.unlock();
        count = static_cast<DWORD>(transfer.received.size());
        callback(request.handle, WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE, &count, sizeof count);
        break;
    default:
        count = takeReceived(transfer, buffer, request.bufferSize);
        guard.unlock();
        callback(request.handle, WINHTTP_CALLBACK_STATUS_READ_COMPLETE, buffer, count);
        break;
    }
}

/// The last that is heard of a request. Nobody changes it any more, since its handle leads nowhere.
void finish(HttpRequest &request) {
    request.transfer.reset();
    if (request.operation != HttpOperation::None)
        reportError(request, request.callback, request.operation, ERROR_WINHTTP_OPERATION_CANCELLED);
    request.callback(request.handle, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, &request.handle, sizeof request.handle);
}

/// A write to a connection that the server has closed is an error there and no reason to end the program. The
/// resolver's threads, which libcurl starts from this one, inherit it.
void ignorePipeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

class Network {
public:
    Network();
    Network(const Network &) = delete;
    Network &operator=(const Network &) = delete;
    ~Network();

    void wake() { curl().multiWakeUp(multi_); }
    void add(std::shared_ptr<HttpRequest> request) { opened_.push_back(std::move(request)); }

private:
    void run();
    bool takeOpened();
    bool serve(HttpRequest &request);
    void perform();

    CURLM *multi_ = nullptr;
    std::list<std::shared_ptr<HttpRequest>> opened_; ///< guarded by the lock
    bool ending_ = false;                            ///< guarded by the lock
    std::list<std::shared_ptr<HttpRequest>> requests_;
    HttpClock::time_point next_; ///< when the first limit runs out
    std::thread thread_;
};

Network::Network() {
    if (curl().globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        throw std::runtime_error("libcurl");
    multi_ = curl().multiInit();
    if (multi_ == nullptr)
        throw std::bad_alloc();
    try {
        thread_ = std::thread([this] { run(); });
    } catch (...) {
        curl().multiCleanup(multi_);
        throw;
    }
}

/// At the end of the process. libcurl's and its libraries' own ends come later, since they were set up before.
Network::~Network() {
    {
        const std::lock_guard guard(httpLock);
        ending_ = true;
    }
    wake();
    thread_.join();
    curl().multiCleanup(multi_);
}

void Network::run() {
    ignorePipeSignal();
    while (takeOpened()) {
        next_ = HttpClock::time_point::max();
        requests_.remove_if([this](const auto &request) { return !serve(*request); });
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next_ - HttpClock::now()).count();
        curl().multiPoll(multi_, nullptr, 0, static_cast<int>(std::clamp<decltype(left)>(left, 0, 3600 * 1000)),
                         nullptr);
        perform();
    }
    for (const auto &request : requests_)
        request->transfer.reset();
}

/// False when the thread has to end.
bool Network::takeOpened() {
    const std::lock_guard guard(httpLock);
    requests_.splice(requests_.end(), opened_);
    return !ending_;
}

/// Reports what there is to report, and ends a transfer whose time is over. False when it was the request's last time.
bool Network::serve(HttpRequest &request) {
    for (;;) {
        std::unique_lock guard(httpLock);
        if (request.closed) {
            guard.unlock();
            finish(request);
            return false;
        }
        if (request.operation == HttpOperation::None)
            return true;
        HttpTransfer &transfer = *request.transfer;
        noteUpload(transfer);
        if (transfer.error || isDone(request.operation, transfer)) {
            report(request, std::move(guard));
            continue;
        }
        const HttpClock::time_point asked = request.asked;
        guard.unlock();
        if (transfer.multi == nullptr) {
            startTransfer(transfer, multi_);
            continue;
        }
        resumeTransfer(transfer);
        const HttpClock::time_point limit = limitOf(transfer, asked);
        if (limit > HttpClock::now()) {
            next_ = std::min(next_, limit);
            return true;
        }
        endTransfer(transfer, DWORD{ERROR_WINHTTP_TIMEOUT});
    }
}

/// Lets all transfers come on.
void Network::perform() {
    int running = 0;
    curl().multiPerform(multi_, &running);
    int left = 0;
    while (const CURLMsg *message = curl().multiInfoRead(multi_, &left)) {
        void *transfer = nullptr;
        curl().easyGetInfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
        endTransfer(*static_cast<HttpTransfer *>(transfer), message->data.result);
    }
}

Network &network() {
    static Network instance;
    return instance;
}

} // namespace

bool startNetwork() {
    try {
        network();
        return true;
    } catch (const std::bad_alloc &) {
        return fail(ERROR_NOT_ENOUGH_MEMORY) != FALSE;
    } catch (const std::exception &) {
        return fail(ERROR_WINHTTP_INTERNAL_ERROR) != FALSE;
    }
}

void addRequest(std::shared_ptr<HttpRequest> request) {
    network().add(std::move(request));
}

void wakeNetwork() {
    network().wake();
}

} // namespace dm::platform
