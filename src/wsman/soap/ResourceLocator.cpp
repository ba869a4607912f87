#include "wsman/soap/ResourceLocator.h"

#include <string_view>

namespace wsman::soap {

ResourceLocator ParseResourceLocator(const std::string& uriWithSelectors) {
    ResourceLocator locator;
    const auto question = uriWithSelectors.find('?');
    locator.resourceUri = uriWithSelectors.substr(0, question);
    if (question == std::string::npos) return locator;

    std::string_view rest(uriWithSelectors);
    rest.remove_prefix(question + 1);
    while (!rest.empty()) {
        const auto ampersand = rest.find('&');
        const std::string_view pair = rest.substr(0, ampersand);
        rest = ampersand == std::string_view::npos ? std::string_view() : rest.substr(ampersand + 1);
        if (pair.empty()) continue;
        const auto equals = pair.find('=');
        Selector selector;
        selector.name = std::string(pair.substr(0, equals));
        if (equals != std::string_view::npos) selector.value = std::string(pair.substr(equals + 1));
        locator.selectors.push_back(std::move(selector));
    }
    return locator;
}

}  // namespace wsman::soap
