// One record kept by the module object between calls: a named value with a detail text, filled by the
// checks that need to remember something across calls.
#pragma once

#include "base/QncString.h"

struct QnWSManRecord {
    CQncString name;
    CQncString value;
    CQncString detail;
};
