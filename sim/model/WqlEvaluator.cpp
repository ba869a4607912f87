#include "model/WqlEvaluator.h"

#include <cstdlib>

#include "model/TextRules.h"
#include "model/WqlLike.h"

namespace qnsim {

namespace {

using Op = WqlCondition::Op;

bool Ordered(Op op, int comparison) {
    switch (op) {
        case Op::Equal:
            return comparison == 0;
        case Op::NotEqual:
            return comparison != 0;
        case Op::Less:
            return comparison < 0;
        case Op::Greater:
            return comparison > 0;
        case Op::LessOrEqual:
            return comparison <= 0;
        case Op::GreaterOrEqual:
            return comparison >= 0;
        case Op::Like:
            return false;
    }
    return false;
}

bool ParseNumber(const std::string& text, long double& number) {
    if (text.empty()) return false;
    char* end = nullptr;
    number = std::strtold(text.c_str(), &end);
    return end == text.c_str() + text.size();
}

template <typename T>
int Compare(T left, T right) {
    return left < right ? -1 : (right < left ? 1 : 0);
}

bool CompareField(const FieldValue& field, Op op, const WqlLiteral& literal) {
    if (literal.kind == WqlLiteral::Kind::Null) {
        // WMI reads "= NULL" as IS NULL and "<> NULL" as IS NOT NULL.
        if (op == Op::Equal) return field.isNull;
        if (op == Op::NotEqual) return !field.isNull;
        return false;
    }
    if (field.isNull || field.isArray) return false;
    if (op == Op::Like) return WqlLikeMatches(field.text, literal.text);
    if (IsIntegerType(field.type) || field.type == CimType::Real32 || field.type == CimType::Real64) {
        long double value = 0;
        long double wanted = 0;
        static const std::string kOne = "1";
        static const std::string kZero = "0";
        const std::string& literalText = literal.kind != WqlLiteral::Kind::Boolean
                                             ? literal.text
                                             : (literal.text == "true" ? kOne : kZero);
        if (!ParseNumber(field.text, value) || !ParseNumber(literalText, wanted)) return false;
        return Ordered(op, Compare(value, wanted));
    }
    if (field.type == CimType::Boolean) {
        const bool value = field.text == "true";
        bool wanted = false;
        if (literal.kind == WqlLiteral::Kind::Number) {
            long double number = 0;
            if (!ParseNumber(literal.text, number)) return false;
            wanted = number != 0;
        } else {
            wanted = EqualsIgnoreCaseAscii(literal.text, "true");
        }
        return Ordered(op, Compare(value, wanted));
    }
    return Ordered(op, CompareIgnoreCaseAscii(field.text, literal.text));
}

}  // namespace

std::string FirstUnknownProperty(const WqlCondition& condition,
                                 const std::function<bool(const std::string&)>& isKnown) {
    switch (condition.kind) {
        case WqlCondition::Kind::And:
        case WqlCondition::Kind::Or: {
            std::string unknown = FirstUnknownProperty(*condition.left, isKnown);
            return unknown.empty() ? FirstUnknownProperty(*condition.right, isKnown) : unknown;
        }
        case WqlCondition::Kind::Not:
            return FirstUnknownProperty(*condition.left, isKnown);
        default:
            return isKnown(condition.property) ? std::string() : condition.property;
    }
}

bool EvaluateWhere(const WqlCondition& condition, const FieldLookup& lookup) {
    switch (condition.kind) {
        case WqlCondition::Kind::And:
            return EvaluateWhere(*condition.left, lookup) && EvaluateWhere(*condition.right, lookup);
        case WqlCondition::Kind::Or:
            return EvaluateWhere(*condition.left, lookup) || EvaluateWhere(*condition.right, lookup);
        case WqlCondition::Kind::Not:
            return !EvaluateWhere(*condition.left, lookup);
        case WqlCondition::Kind::IsNull:
            return lookup(condition.property).isNull;
        case WqlCondition::Kind::IsNotNull:
            return !lookup(condition.property).isNull;
        case WqlCondition::Kind::Compare:
            return CompareField(lookup(condition.property), condition.op, condition.literal);
    }
    return false;
}

}  // namespace qnsim
