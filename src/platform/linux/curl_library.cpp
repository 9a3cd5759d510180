#include "platform/linux/curl_library.h"

#include <stdexcept>

#include <dlfcn.h>

namespace dm::platform {
namespace {

template <typename Function>
void find(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr)
        throw std::runtime_error(name);
}

CurlLibrary load() {
    void *const library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error("libcurl");
    CurlLibrary functions = {};
    find(library, "curl_global_init", functions.globalInit);
    find(library, "curl_slist_append", functions.listAppend);
    find(library, "curl_slist_free_all", functions.listFree);
    find(library, "curl_easy_init", functions.easyInit);
    find(library, "curl_easy_setopt", functions.easySetOption);
    find(library, "curl_easy_getinfo", functions.easyGetInfo);
    find(library, "curl_easy_pause", functions.easyPause);
    find(library, "curl_easy_cleanup", functions.easyCleanup);
    find(library, "curl_multi_init", functions.multiInit);
    find(library, "curl_multi_add_handle", functions.multiAdd);
    find(library, "curl_multi_remove_handle", functions.multiRemove);
    find(library, "curl_multi_poll", functions.multiPoll);
    find(library, "curl_multi_wakeup", functions.multiWakeUp);
    find(library, "curl_multi_perform", functions.multiPerform);
    find(library, "curl_multi_info_read", functions.multiInfoRead);
    find(library, "curl_multi_cleanup", functions.multiCleanup);
    return functions;
}

} // namespace

const CurlLibrary &curl() {
    static const CurlLibrary functions = load();
    return functions;
}

} // namespace dm::platform
