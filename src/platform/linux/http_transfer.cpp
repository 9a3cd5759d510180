#include "platform/linux/http_transfer.h"

#include "platform/linux/http_trust.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace dm::platform {

namespace {

void advance(HttpTransfer &transfer, HttpProgress reached) {
    transfer.progress = reached;
    transfer.since = HttpClock::now();
}

/// Called with each attempt to connect, so with each address of the server.
int onSocket(void *transfer, curl_socket_t, curlsocktype) {
    advance(*static_cast<HttpTransfer *>(transfer), HttpProgress::Connecting);
    return CURL_SOCKOPT_OK;
}

/// Called when the connection is secured.
int onSecured(void *transfer, char *, char *, int, int) {
    advance(*static_cast<HttpTransfer *>(transfer), HttpProgress::Sending);
    return CURL_PREREQFUNC_OK;
}

/// Called with each record of TLS, among others: any of them shows that the server comes on, though it may be a part of
/// a line or a chunk only.
int onTrace(CURL *, curl_infotype type, char *, std::size_t, void *data) {
    auto &transfer = *static_cast<HttpTransfer *>(data);
    if (type == CURLINFO_SSL_DATA_IN && transfer.progress >= HttpProgress::Waiting)
        transfer.since = HttpClock::now();
    return 0;
}

/// Called with each line of a head. Those of status 1xx come before the one that counts.
std::size_t onHeader(char *line, std::size_t, std::size_t length, void *data) {
    auto &transfer = *static_cast<HttpTransfer *>(data);
    const std::string_view text(line, length);
    long status = 0;
    curl().easyGetInfo(transfer.easy.get(), CURLINFO_RESPONSE_CODE, &status);
    if ((text == "\r\n" || text == "\n") && status >= 200 && transfer.progress < HttpProgress::Answered) {
        transfer.status = static_cast<DWORD>(status);
        advance(transfer, HttpProgress::Answered);
    }
    return length;
}

/// Takes one piece at a time, so that the server has to wait for a slow reader.
std::size_t onBody(char *bytes, std::size_t, std::size_t length, void *data) {
    auto &transfer = *static_cast<HttpTransfer *>(data);
    transfer.paused = !transfer.received.empty();
    if (transfer.paused)
        return CURL_WRITEFUNC_PAUSE;
    transfer.received.assign(bytes, length);
    return length;
}

bool addHeader(HttpTransfer &transfer, const char *line) {
    curl_slist *const longer = curl().listAppend(transfer.headers.get(), line);
    if (longer == nullptr)
        return false;
    static_cast<void>(transfer.headers.release()); // it is a part of the longer one
    transfer.headers.reset(longer);
    return true;
}

bool addHeaders(HttpTransfer &transfer, const std::vector<std::string> &lines) {
    // libcurl would ask the server for leave to send a large body.
    return addHeader(transfer, "Expect:") && std::all_of(lines.begin(), lines.end(), [&](const std::string &line) {
               return addHeader(transfer, line.c_str());
           });
}

/// Sets options; false once libcurl has refused one.
struct Options {
    CURL *easy;
    bool accepted = true;

    template <typename Value>
    void set(CURLoption option, Value value) {
        accepted = curl().easySetOption(easy, option, value) == CURLE_OK && accepted;
    }
};

void setMessage(Options &options, const HttpMessage &message, curl_slist *headers) {
    options.set(CURLOPT_URL, message.url.c_str());
    options.set(CURLOPT_PATH_AS_IS, 1L);
    options.set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    options.set(CURLOPT_USERAGENT, message.agent.c_str());
    options.set(CURLOPT_HTTPHEADER, headers);
    options.set(CURLOPT_POST, 1L);
    options.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(message.bodySize));
    options.set(CURLOPT_POSTFIELDS, message.body == nullptr ? "" : static_cast<const char *>(message.body));
}

void setSecurity(Options &options) {
    options.set(CURLOPT_PROTOCOLS_STR, "https");
    options.set(CURLOPT_FOLLOWLOCATION, 0L);
    options.set(CURLOPT_SSL_VERIFYPEER, 1L);
    options.set(CURLOPT_SSL_VERIFYHOST, 2L);
    options.set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (const char *file = authorityFile()) {
        options.set(CURLOPT_CAINFO, file);
        options.set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
    }
}

void setConnection(Options &options, const HttpMessage &message) {
    // Exchanges share nothing.
    options.set(CURLOPT_FRESH_CONNECT, 1L);
    options.set(CURLOPT_FORBID_REUSE, 1L);
    options.set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    options.set(CURLOPT_DNS_CACHE_TIMEOUT, 0L);

    options.set(CURLOPT_NOSIGNAL, 1L);
    // Or the end of a transfer would wait for the thread that asks the resolver.
    options.set(CURLOPT_QUICK_EXIT, 1L);
    // libcurl goes on to the server's next address after half of what is left of this.
    options.set(CURLOPT_CONNECTTIMEOUT_MS,
                static_cast<long>(std::min(noHttpLimit, message.limits[0] + message.limits[1]).count()));
}

void setCallbacks(Options &options, HttpTransfer &transfer) {
    options.set(CURLOPT_PRIVATE, &transfer);
    options.set(CURLOPT_SOCKOPTFUNCTION, &onSocket);
    options.set(CURLOPT_SOCKOPTDATA, &transfer);
    options.set(CURLOPT_PREREQFUNCTION, &onSecured);
    options.set(CURLOPT_PREREQDATA, &transfer);
    options.set(CURLOPT_VERBOSE, 1L); // calls the next, and prints nothing
    options.set(CURLOPT_DEBUGFUNCTION, &onTrace);
    options.set(CURLOPT_DEBUGDATA, &transfer);
    options.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L); // a proxy's
    options.set(CURLOPT_HEADERFUNCTION, &onHeader);
    options.set(CURLOPT_HEADERDATA, &transfer);
    options.set(CURLOPT_WRITEFUNCTION, &onBody);
    options.set(CURLOPT_WRITEDATA, &transfer);
}

DWORD errorOfCode(CURLcode code) {
    switch (code) {
    case CURLE_OK:
        return ERROR_SUCCESS;
    case CURLE_OUT_OF_MEMORY:
        return ERROR_NOT_ENOUGH_MEMORY;
    case CURLE_OPERATION_TIMEDOUT:
        return ERROR_WINHTTP_TIMEOUT;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return ERROR_WINHTTP_NAME_NOT_RESOLVED;
    case CURLE_COULDNT_CONNECT:
        return ERROR_WINHTTP_CANNOT_CONNECT;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
        return ERROR_WINHTTP_CONNECTION_ERROR;
    case CURLE_UNSUPPORTED_PROTOCOL: // the answer is no HTTP
    case CURLE_WEIRD_SERVER_REPLY:
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
        return ERROR_WINHTTP_SECURE_FAILURE;
    default:
        return ERROR_WINHTTP_INTERNAL_ERROR;
    }
}

} // namespace

HttpTransfer::~HttpTransfer() {
    endTransfer(*this, DWORD{ERROR_WINHTTP_OPERATION_CANCELLED});
}

std::unique_ptr<HttpTransfer> prepareTransfer(const HttpMessage &message) {
    auto transfer = std::make_unique<HttpTransfer>(message);
    transfer->received.reserve(CURL_MAX_WRITE_SIZE); // nothing may throw through libcurl later
    transfer->easy.reset(curl().easyInit());
    if (transfer->easy == nullptr || !addHeaders(*transfer, message.headers))
        return nullptr;
    Options options = {transfer->easy.get()};
    setMessage(options, message, transfer->headers.get());
    setSecurity(options);
    setConnection(options, message);
    setCallbacks(options, *transfer);
    return options.accepted ? std::move(transfer) : nullptr;
}

void startTransfer(HttpTransfer &transfer, CURLM *multi) {
    transfer.since = HttpClock::now();
    if (curl().multiAdd(multi, transfer.easy.get()) == CURLM_OK)
        transfer.multi = multi;
    else
        endTransfer(transfer, DWORD{ERROR_WINHTTP_INTERNAL_ERROR});
}

void endTransfer(HttpTransfer &transfer, DWORD error) {
    if (transfer.multi != nullptr && transfer.easy != nullptr)
        curl().multiRemove(transfer.multi, transfer.easy.get());
    transfer.easy.reset();
    transfer.error = error;
}

void endTransfer(HttpTransfer &transfer, CURLcode code) {
    // A connection that closes within the head is a success to libcurl.
    const bool cutShort = code == CURLE_OK && transfer.progress < HttpProgress::Answered;
    endTransfer(transfer, cutShort ? DWORD{ERROR_WINHTTP_CONNECTION_ERROR} : errorOfCode(code));
}

void noteUpload(HttpTransfer &transfer) {
    if (transfer.progress != HttpProgress::Sending || transfer.error)
        return;
    curl_off_t uploaded = 0;
    curl_off_t size = 0;
    long headSize = 0;
    curl().easyGetInfo(transfer.easy.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
    curl().easyGetInfo(transfer.easy.get(), CURLINFO_CONTENT_LENGTH_UPLOAD_T, &size);
    curl().easyGetInfo(transfer.easy.get(), CURLINFO_REQUEST_SIZE, &headSize);
    if (headSize > 0 && uploaded >= size)
        advance(transfer, HttpProgress::Waiting);
}

DWORD takeReceived(HttpTransfer &transfer, LPVOID buffer, DWORD size) {
    const std::size_t count = std::min<std::size_t>(size, transfer.received.size());
    std::memcpy(buffer, transfer.received.data(), count);
    transfer.received.erase(0, count);
    return static_cast<DWORD>(count);
}

void resumeTransfer(HttpTransfer &transfer) {
    if (transfer.received.empty() && std::exchange(transfer.paused, false))
        curl().easyPause(transfer.easy.get(), CURLPAUSE_CONT);
}

HttpClock::time_point limitOf(const HttpTransfer &transfer, HttpClock::time_point asked) {
    const auto phase = static_cast<std::size_t>(std::min(transfer.progress, HttpProgress::Waiting));
    return std::max(transfer.since, asked) + transfer.message.limits[phase];
}

} // namespace dm::platform
