// Evaluates a WHERE tree against one candidate (an instance, or a class definition for meta_class).
#pragma once

#include <functional>
#include <string>

#include "model/CimSchema.h"
#include "model/WqlQuery.h"

namespace qnsim {

struct FieldValue {
    bool known = false;
    bool isNull = true;
    bool isArray = false;
    CimType type = CimType::String;
    std::string text;
};

using FieldLookup = std::function<FieldValue(const std::string& name)>;

// Names the first property of the tree that `isKnown` rejects; empty when all are known.
std::string FirstUnknownProperty(const WqlCondition& condition,
                                 const std::function<bool(const std::string&)>& isKnown);

bool EvaluateWhere(const WqlCondition& condition, const FieldLookup& lookup);

}  // namespace qnsim
