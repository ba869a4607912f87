#include "wsman/http/CurlHandles.h"

#include <mutex>

namespace wsman::http {

CurlEasy MakeCurlEasy() {
    static std::once_flag initialised;
    std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    return CurlEasy(curl_easy_init());
}

CurlHeaderList MakeHeaderList(const std::vector<std::string>& lines) {
    curl_slist* list = nullptr;
    for (const std::string& line : lines) {
        curl_slist* extended = curl_slist_append(list, line.c_str());
        if (extended == nullptr) {
            curl_slist_free_all(list);
            return nullptr;
        }
        list = extended;
    }
    return CurlHeaderList(list);
}

}  // namespace wsman::http
