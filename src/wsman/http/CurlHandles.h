// Owning wrappers for libcurl handles.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <vector>

namespace wsman::http {

struct CurlEasyCleanup {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using CurlEasy = std::unique_ptr<CURL, CurlEasyCleanup>;

struct CurlSlistFree {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlHeaderList = std::unique_ptr<curl_slist, CurlSlistFree>;

struct CurlUrlCleanup {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using CurlUrl = std::unique_ptr<CURLU, CurlUrlCleanup>;

// A new easy handle; libcurl's global state is initialised once per process first.
CurlEasy MakeCurlEasy();

CurlHeaderList MakeHeaderList(const std::vector<std::string>& lines);

}  // namespace wsman::http
