#pragma once

#include <QtCore/QString>

#include <curl/curl.h>

namespace KVBase
{

/// The functions of libcurl, which is opened at the first request: linking it would cost every program that
/// starts with the library.
struct CurlLibrary {
    decltype(&::curl_global_init) globalInit = nullptr;
    decltype(&::curl_easy_init) easyInit = nullptr;
    decltype(&::curl_easy_setopt) easySetopt = nullptr;
    decltype(&::curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&::curl_slist_append) listAppend = nullptr;
    decltype(&::curl_slist_free_all) listFree = nullptr;
    decltype(&::curl_multi_init) multiInit = nullptr;
    decltype(&::curl_multi_add_handle) multiAdd = nullptr;
    decltype(&::curl_multi_remove_handle) multiRemove = nullptr;
    decltype(&::curl_multi_perform) multiPerform = nullptr;
    decltype(&::curl_multi_poll) multiPoll = nullptr;
    decltype(&::curl_multi_info_read) multiInfo = nullptr;
    decltype(&::curl_multi_cleanup) multiCleanup = nullptr;

    /// Why there is no library; nil when there is one.
    QString failure;

    /// Opens the library at the first call and never closes it. Any thread.
    static const CurlLibrary &shared();
};

} // namespace KVBase
