#include "Platform/Services/CurlLibrary_linux.h"

#include <dlfcn.h>

namespace KVBase
{

namespace
{

template <class Function>
bool find(void *library, const char *name, Function *function)
{
    *function = reinterpret_cast<Function>(dlsym(library, name));
    return *function != nullptr;
}

bool findAll(void *library, CurlLibrary *curl)
{
    return find(library, "curl_global_init", &curl->globalInit) &&
           find(library, "curl_easy_init", &curl->easyInit) &&
           find(library, "curl_easy_setopt", &curl->easySetopt) &&
           find(library, "curl_easy_cleanup", &curl->easyCleanup) &&
           find(library, "curl_slist_append", &curl->listAppend) &&
           find(library, "curl_slist_free_all", &curl->listFree) &&
           find(library, "curl_multi_init", &curl->multiInit) &&
           find(library, "curl_multi_add_handle", &curl->multiAdd) &&
           find(library, "curl_multi_remove_handle", &curl->multiRemove) &&
           find(library, "curl_multi_perform", &curl->multiPerform) &&
           find(library, "curl_multi_poll", &curl->multiPoll) &&
           find(library, "curl_multi_info_read", &curl->multiInfo) &&
           find(library, "curl_multi_cleanup", &curl->multiCleanup);
}

CurlLibrary open()
{
    CurlLibrary curl;
    void *const library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr || !findAll(library, &curl))
        curl.failure = QString::fromLocal8Bit(dlerror());
    else if (curl.globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        curl.failure = QStringLiteral("libcurl could not be set up");
    return curl;
}

} // namespace

const CurlLibrary &CurlLibrary::shared()
{
    static const CurlLibrary &opened = *new CurlLibrary(open());
    return opened;
}

} // namespace KVBase
