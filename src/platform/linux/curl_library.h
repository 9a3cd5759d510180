// libcurl, which is loaded when it is first needed: it brings thirty libraries, and most runs never use the network.
#pragma once

#include <curl/curl.h>

namespace dm::platform {

struct CurlLibrary {
    decltype(&curl_global_init) globalInit;
    decltype(&curl_slist_append) listAppend;
    decltype(&curl_slist_free_all) listFree;
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_setopt) easySetOption;
    decltype(&curl_easy_getinfo) easyGetInfo;
    decltype(&curl_easy_pause) easyPause;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_multi_init) multiInit;
    decltype(&curl_multi_add_handle) multiAdd;
    decltype(&curl_multi_remove_handle) multiRemove;
    decltype(&curl_multi_poll) multiPoll;
    decltype(&curl_multi_wakeup) multiWakeUp;
    decltype(&curl_multi_perform) multiPerform;
    decltype(&curl_multi_info_read) multiInfoRead;
    decltype(&curl_multi_cleanup) multiCleanup;
};

/// Stays for the life of the process. Throws std::runtime_error where it is not installed.
const CurlLibrary &curl();

} // namespace dm::platform
