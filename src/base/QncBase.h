// The common base library: root object and trace log, strings, lists, error texts, registry and profile
// helpers, diagnostic writers.
#pragma once

#include "base/QncBaseObject.h"
#include "base/QncDiagnostics.h"
#include "base/QncErrors.h"
#include "base/QncList.h"
#include "base/QncRegistry.h"
#include "base/QncString.h"
#include "base/QncText.h"
