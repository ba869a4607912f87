// MSXML's version-independent DOM document. Spelled out here: mingw's msxml2.h redirects CLSID_DOMDocument
// to CLSID_DOMDocument2, which no import library defines.
#pragma once

#include <guiddef.h>

namespace qn::platform::windows {

// {2933BF90-7B36-11D2-B20E-00C04F983E60}
inline constexpr CLSID kClsidDomDocument = {
    0x2933bf90, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
// IXMLDOMDocument {2933BF81-7B36-11D2-B20E-00C04F983E60}
inline constexpr IID kIidXmlDomDocument = {
    0x2933bf81, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
// IXMLDOMDocument2 {2933BF95-7B36-11D2-B20E-00C04F983E60}
inline constexpr IID kIidXmlDomDocument2 = {
    0x2933bf95, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};

}  // namespace qn::platform::windows
