#include "server/ResourceUri.h"

#include <algorithm>
#include <cctype>

#include "server/Namespaces.h"

namespace qnsim {
namespace {

bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

bool IsNameCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

}  // namespace

ResourceUriResult ParseWmiResourceUri(std::string_view uri) {
    ResourceUriResult result;
    // Backslashes, blanks, queries and empty path segments are what winrm rejects as a malformed URI.
    const bool hasScheme = StartsWithIgnoreCase(uri, "http://") || StartsWithIgnoreCase(uri, "https://");
    if (uri.empty() || !hasScheme || uri.find_first_of("\\ \t\r\n?#") != std::string_view::npos) {
        result.problem = ResourceUriProblem::Malformed;
        return result;
    }
    if (!StartsWithIgnoreCase(uri, ns::kWmiResourcePrefix)) {
        result.problem = ResourceUriProblem::NotWmi;
        return result;
    }
    const std::string_view path = uri.substr(ns::kWmiResourcePrefix.size());
    const std::size_t lastSlash = path.rfind('/');
    if (path.empty() || lastSlash == std::string_view::npos || lastSlash == 0 ||
        lastSlash + 1 == path.size()) {
        result.problem = ResourceUriProblem::Malformed;
        return result;
    }
    const std::string_view wmiNamespace = path.substr(0, lastSlash);
    const std::string_view className = path.substr(lastSlash + 1);
    for (std::size_t start = 0; start <= wmiNamespace.size();) {
        const std::size_t end = std::min(wmiNamespace.find('/', start), wmiNamespace.size());
        const std::string_view segment = wmiNamespace.substr(start, end - start);
        if (segment.empty() || !std::all_of(segment.begin(), segment.end(), IsNameCharacter)) return result;
        start = end + 1;
    }
    if (className != "*" && !std::all_of(className.begin(), className.end(), IsNameCharacter)) return result;
    result.resource = WmiResource{std::string(wmiNamespace), std::string(className)};
    return result;
}

ResourceUriResult ParseResourceUri(std::string_view uri, Selectors& selectors) {
    constexpr std::string_view kDmtfClassPrefix = "http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/";
    constexpr std::string_view kDmtfAllClasses = "http://schemas.dmtf.org/wbem/wscim/1/*";
    const bool dmtfClass = StartsWithIgnoreCase(uri, kDmtfClassPrefix);
    if (!dmtfClass && uri != kDmtfAllClasses) return ParseWmiResourceUri(uri);
    std::string wmiNamespace = "root/cimv2";
    if (auto found = selectors.find("__cimnamespace"); found != selectors.end()) {
        wmiNamespace = found->second;
        selectors.erase(found);
    }
    const std::string className = dmtfClass ? std::string(uri.substr(kDmtfClassPrefix.size())) : "*";
    // The same checks as for the WMI form, on the equivalent WMI URI.
    return ParseWmiResourceUri(std::string(ns::kWmiResourcePrefix) + wmiNamespace + "/" + className);
}

}  // namespace qnsim
