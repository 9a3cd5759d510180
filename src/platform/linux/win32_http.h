// Published declarations of asynchronous HTTP. Only what the program uses is supported, and everything else is refused
// with ERROR_INVALID_PARAMETER: asynchronous sessions, POST, TLS, and never a redirect.
//
// Every operation ends with exactly one callback, on one thread of the layer, and a request has one operation at a
// time. Closing a request ends its operation with ERROR_WINHTTP_OPERATION_CANCELLED; its last callback is then
// WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING. Callbacks may call every one of these functions. None of the functions waits
// for the network or for a callback.
#pragma once

#include "platform/linux/win32_base.h"

using HINTERNET = LPVOID;
using INTERNET_PORT = WORD;

#define INTERNET_DEFAULT_HTTPS_PORT 443

#define WINHTTP_FLAG_ASYNC 0x10000000
#define WINHTTP_FLAG_SECURE 0x00800000
#define WINHTTP_ACCESS_TYPE_DEFAULT_PROXY 0
#define WINHTTP_NO_PROXY_NAME nullptr
#define WINHTTP_NO_PROXY_BYPASS nullptr
#define WINHTTP_NO_REFERER nullptr
#define WINHTTP_DEFAULT_ACCEPT_TYPES nullptr
#define WINHTTP_HEADER_NAME_BY_INDEX nullptr
#define WINHTTP_NO_HEADER_INDEX nullptr

#define WINHTTP_OPTION_CONTEXT_VALUE 45
#define WINHTTP_OPTION_REDIRECT_POLICY 88
#define WINHTTP_OPTION_REDIRECT_POLICY_NEVER 0

#define WINHTTP_QUERY_STATUS_CODE 19
#define WINHTTP_QUERY_FLAG_NUMBER 0x20000000

#define WINHTTP_CALLBACK_STATUS_HANDLE_CREATED 0x00000400
#define WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING 0x00000800
#define WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE 0x00020000
#define WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE 0x00040000
#define WINHTTP_CALLBACK_STATUS_READ_COMPLETE 0x00080000
#define WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE 0x00100000
#define WINHTTP_CALLBACK_STATUS_REQUEST_ERROR 0x00200000
#define WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE 0x00400000
#define WINHTTP_CALLBACK_STATUS_GETPROXYFORURL_COMPLETE 0x01000000
#define WINHTTP_CALLBACK_FLAG_HANDLES (WINHTTP_CALLBACK_STATUS_HANDLE_CREATED | WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING)
#define WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS                                                                          \
    (WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE | WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE |                        \
     WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE | WINHTTP_CALLBACK_STATUS_READ_COMPLETE |                                  \
     WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE | WINHTTP_CALLBACK_STATUS_REQUEST_ERROR |                                  \
     WINHTTP_CALLBACK_STATUS_GETPROXYFORURL_COMPLETE)

/// What failed, in dwResult of a WINHTTP_ASYNC_RESULT.
#define API_RECEIVE_RESPONSE 1
#define API_QUERY_DATA_AVAILABLE 2
#define API_READ_DATA 3
#define API_SEND_REQUEST 5

#define ERROR_WINHTTP_TIMEOUT 12002
#define ERROR_WINHTTP_INTERNAL_ERROR 12004
#define ERROR_WINHTTP_INVALID_URL 12005
#define ERROR_WINHTTP_NAME_NOT_RESOLVED 12007
#define ERROR_WINHTTP_OPERATION_CANCELLED 12017
#define ERROR_WINHTTP_INCORRECT_HANDLE_TYPE 12018
#define ERROR_WINHTTP_INCORRECT_HANDLE_STATE 12019
#define ERROR_WINHTTP_CANNOT_CONNECT 12029
#define ERROR_WINHTTP_CONNECTION_ERROR 12030
#define ERROR_WINHTTP_INVALID_SERVER_RESPONSE 12152
#define ERROR_WINHTTP_SECURE_FAILURE 12175

/// With REQUEST_ERROR.
struct WINHTTP_ASYNC_RESULT {
    DWORD_PTR dwResult;
    DWORD dwError;
};

/// The information is a DWORD with DATA_AVAILABLE, the caller's buffer with READ_COMPLETE (its length is the count of
/// bytes read), a WINHTTP_ASYNC_RESULT with REQUEST_ERROR, the handle with HANDLE_CLOSING, and nothing with the others.
using WINHTTP_STATUS_CALLBACK = void(CALLBACK *)(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information,
                                                 DWORD informationLength);
#define WINHTTP_INVALID_STATUS_CALLBACK (reinterpret_cast<WINHTTP_STATUS_CALLBACK>(static_cast<LONG_PTR>(-1)))

/// A session, by the proxy that the environment names; null on failure.
HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR proxyBypass, DWORD flags);
/// Limits for the connections that are opened from now on, in milliseconds; 0 and -1 mean none. The second counts anew
/// for each address of the server and holds until the connection is secured, the third until the request has been sent;
/// the last counts from the last byte that came in.
BOOL WINAPI WinHttpSetTimeouts(HINTERNET session, int resolve, int connect, int send, int receive);
/// Names a server and its port; connects to nothing yet.
HINTERNET WINAPI WinHttpConnect(HINTERNET session, LPCWSTR server, INTERNET_PORT port, DWORD reserved);
/// The path comes with its query, written as it is to be sent.
HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR path, LPCWSTR version, LPCWSTR referrer,
                                    LPCWSTR *acceptTypes, DWORD flags);
/// Options of a request.
BOOL WINAPI WinHttpSetOption(HINTERNET request, DWORD option, LPVOID value, DWORD length);
/// Installs the callback of a request and gives the one before, or WINHTTP_INVALID_STATUS_CALLBACK on failure.
WINHTTP_STATUS_CALLBACK WINAPI WinHttpSetStatusCallback(HINTERNET request, WINHTTP_STATUS_CALLBACK callback,
                                                        DWORD notifications, DWORD_PTR reserved);
/// Starts the request, once. The body has to live until the handle's last callback. A length of -1 means that the
/// headers are null-terminated; each of them ends with CR and LF. The context replaces the one set as an option.
BOOL WINAPI WinHttpSendRequest(HINTERNET request, LPCWSTR headers, DWORD headersLength, LPVOID body, DWORD bodyLength,
                               DWORD totalLength, DWORD_PTR context);
/// After the request is sent: waits for the head of the answer.
BOOL WINAPI WinHttpReceiveResponse(HINTERNET request, LPVOID reserved);
/// After the head: waits for bytes of the body and tells how many are there; 0 at its end.
BOOL WINAPI WinHttpQueryDataAvailable(HINTERNET request, LPDWORD available);
/// After the head: waits for bytes of the body and reads what is there, up to the size of the buffer; none at its end.
/// The buffer has to live until the callback.
BOOL WINAPI WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read);
/// After the head: the status code, as a number.
BOOL WINAPI WinHttpQueryHeaders(HINTERNET request, DWORD level, LPCWSTR name, LPVOID value, LPDWORD length,
                                LPDWORD index);
/// The handle is no longer valid when this returns. What was opened from it goes on without it.
BOOL WINAPI WinHttpCloseHandle(HINTERNET handle);
