// The parsed form of the WQL that the simulator answers: SELECT with a WHERE tree, ASSOCIATORS OF, and
// SELECT from meta_class.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qnsim {

struct WqlLiteral {
    enum class Kind { String, Number, Boolean, Null };
    Kind kind = Kind::Null;
    std::string text;  // string contents, number text, or "true"/"false"
};

struct WqlCondition {
    enum class Kind { And, Or, Not, Compare, IsNull, IsNotNull };
    enum class Op { Equal, NotEqual, Less, Greater, LessOrEqual, GreaterOrEqual, Like };
    Kind kind = Kind::Compare;
    Op op = Op::Equal;
    std::string property;       // Compare, IsNull, IsNotNull
    WqlLiteral literal;         // Compare
    bool literalFirst = false;  // "5 < Prop" keeps its meaning
    std::unique_ptr<WqlCondition> left;
    std::unique_ptr<WqlCondition> right;  // And, Or; Not uses left only
};

struct WqlObjectPath {
    std::string className;
    std::vector<std::pair<std::string, std::string>> keys;
};

struct WqlQuery {
    enum class Kind { Select, Associators };
    Kind kind = Kind::Select;
    bool selectAll = true;
    std::vector<std::string> selectList;  // in the order the query names them
    std::string className;                // meta_class for class definitions
    std::unique_ptr<WqlCondition> where;
    // ASSOCIATORS OF
    WqlObjectPath source;
    std::string assocClass;
    std::string role;
    std::string resultClass;
    std::string resultRole;
};

struct WqlParseResult {
    std::optional<WqlQuery> query;
    std::string problem;
};

WqlParseResult ParseWql(const std::string& text);

}  // namespace qnsim
