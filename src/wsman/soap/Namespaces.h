// Namespace and action URIs of WS-Management as Windows speaks it. Replies are matched by these URIs,
// never by prefix: Windows reuses "p" for different namespaces in one envelope.
#pragma once

namespace wsman::ns {

inline constexpr const char* kSoap = "http://www.w3.org/2003/05/soap-envelope";
inline constexpr const char* kAddressing = "http://schemas.xmlsoap.org/ws/2004/08/addressing";
inline constexpr const char* kEnumeration = "http://schemas.xmlsoap.org/ws/2004/09/enumeration";
inline constexpr const char* kWsman = "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd";
inline constexpr const char* kMsWsman = "http://schemas.microsoft.com/wbem/wsman/1/wsman.xsd";
inline constexpr const char* kWsmanFault = "http://schemas.microsoft.com/wbem/wsman/1/wsmanfault";
inline constexpr const char* kWmiErrorClass =
    "http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/MSFT_WmiError";

inline constexpr const char* kAnonymousAddress =
    "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";

inline constexpr const char* kActionEnumerate = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate";
inline constexpr const char* kActionPull = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Pull";
inline constexpr const char* kActionRelease = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Release";

}  // namespace wsman::ns
