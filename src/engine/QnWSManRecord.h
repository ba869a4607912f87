// One record of the module object's record vector: a named value with a detail text. The object owns the
// vector and frees it with itself; no check fills it today (what a check remembers across calls, such as the
// process samples, lives in objects of its own: checks/CWmiProcessList.h).
#pragma once

#include "base/QncString.h"

struct QnWSManRecord {
    CQncString name;
    CQncString value;
    CQncString detail;
};
