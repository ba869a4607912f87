// Reading one property from record text: "Name:=value" lines separated by "\r\n", ended by the first empty
// line. The first line whose name matches (without regard to case) wins.
#pragma once

#include "base/QncString.h"

// The property's value, or `missingMarker` when no line before the first empty one names it.
CQncString LookupRecordValue(const char* record, const char* propertyName, const char* missingMarker);
