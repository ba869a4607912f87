// The error-code message table shared by the library's components.
#pragma once

#include "base/QncString.h"

// Codes of the XML record parser.
inline constexpr int kQncErrorXmlDocumentInit = 25700;
inline constexpr int kQncErrorXslStylesheetMissing = 25701;
inline constexpr int kQncErrorXmlLoad = 25702;
inline constexpr int kQncErrorXmlTransform = 25703;
inline constexpr int kQncErrorXmlAttributeMissing = 25704;

// text := the code's message ("Generic Error" for a code without one); returns text.
CQncString& GetErrorDescription(int code, CQncString& text);
