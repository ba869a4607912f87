// Namespace URIs of the envelopes WinRM exchanges.
#pragma once

#include <string_view>

namespace qnsim::ns {

inline constexpr std::string_view kSoap = "http://www.w3.org/2003/05/soap-envelope";
inline constexpr std::string_view kAddressing = "http://schemas.xmlsoap.org/ws/2004/08/addressing";
inline constexpr std::string_view kEnumeration = "http://schemas.xmlsoap.org/ws/2004/09/enumeration";
inline constexpr std::string_view kTransfer = "http://schemas.xmlsoap.org/ws/2004/09/transfer";
inline constexpr std::string_view kEventing = "http://schemas.xmlsoap.org/ws/2004/08/eventing";
inline constexpr std::string_view kWsman = "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd";
inline constexpr std::string_view kMsWsman = "http://schemas.microsoft.com/wbem/wsman/1/wsman.xsd";
inline constexpr std::string_view kWsmanFault = "http://schemas.microsoft.com/wbem/wsman/1/wsmanfault";
inline constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
inline constexpr std::string_view kAnonymous =
    "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";
inline constexpr std::string_view kWmiResourcePrefix = "http://schemas.microsoft.com/wbem/wsman/1/wmi/";

}  // namespace qnsim::ns
