// Recursive-descent parser for the WQL subset Windows' WMI accepts in the queries a monitor sends.
#include <cctype>

#include "model/TextRules.h"
#include "model/WqlLexer.h"
#include "model/WqlQuery.h"

namespace qnsim {

namespace {

class Parser {
  public:
    explicit Parser(std::vector<WqlToken> tokens) : tokens_(std::move(tokens)) {}

    bool Parse(WqlQuery& query) {
        if (IsKeyword("SELECT")) return ParseSelect(query);
        if (IsKeyword("ASSOCIATORS")) return ParseAssociators(query);
        return Fail("a query starts with SELECT or ASSOCIATORS OF");
    }

    const std::string& Problem() const { return problem_; }

  private:
    const WqlToken& Peek() const { return tokens_[position_]; }
    WqlToken Next() {
        WqlToken token = tokens_[position_];
        if (token.kind != WqlToken::Kind::End) ++position_;
        return token;
    }
    bool IsKeyword(const char* word) const {
        return Peek().kind == WqlToken::Kind::Word && EqualsIgnoreCaseAscii(Peek().text, word);
    }
    bool IsSymbol(const char* symbol) const {
        return Peek().kind == WqlToken::Kind::Symbol && Peek().text == symbol;
    }
    bool Accept(const char* keyword) {
        if (!IsKeyword(keyword)) return false;
        ++position_;
        return true;
    }
    bool AcceptSymbol(const char* symbol) {
        if (!IsSymbol(symbol)) return false;
        ++position_;
        return true;
    }
    bool Fail(std::string problem) {
        if (problem_.empty()) problem_ = std::move(problem);
        return false;
    }
    bool Name(std::string& name) {
        if (Peek().kind != WqlToken::Kind::Word) return Fail("a name was expected");
        name = Next().text;
        return true;
    }

    bool ParseSelect(WqlQuery& query) {
        Next();
        query.kind = WqlQuery::Kind::Select;
        if (AcceptSymbol("*")) {
            query.selectAll = true;
        } else {
            query.selectAll = false;
            do {
                std::string property;
                if (!Name(property)) return false;
                query.selectList.push_back(property);
            } while (AcceptSymbol(","));
        }
        if (!Accept("FROM")) return Fail("FROM was expected");
        if (!Name(query.className)) return false;
        if (Accept("WHERE")) {
            query.where = ParseOr();
            if (!query.where) return false;
        }
        if (Peek().kind != WqlToken::Kind::End)
            return Fail("unexpected text after the query: " + Peek().text);
        return true;
    }

    bool ParseAssociators(WqlQuery& query) {
        Next();
        query.kind = WqlQuery::Kind::Associators;
        if (!Accept("OF")) return Fail("OF was expected");
        if (Peek().kind != WqlToken::Kind::ObjectPath) return Fail("an object path in braces was expected");
        if (!ParseObjectPath(Next().text, query.source)) return false;
        if (Accept("WHERE")) {
            while (Peek().kind == WqlToken::Kind::Word) {
                const std::string keyword = Next().text;
                std::string* target = nullptr;
                if (EqualsIgnoreCaseAscii(keyword, "AssocClass")) target = &query.assocClass;
                if (EqualsIgnoreCaseAscii(keyword, "Role")) target = &query.role;
                if (EqualsIgnoreCaseAscii(keyword, "ResultClass")) target = &query.resultClass;
                if (EqualsIgnoreCaseAscii(keyword, "ResultRole")) target = &query.resultRole;
                if (target == nullptr) return Fail("unknown ASSOCIATORS OF qualifier " + keyword);
                if (!AcceptSymbol("=")) return Fail("= was expected after " + keyword);
                if (!Name(*target)) return false;
            }
        }
        if (Peek().kind != WqlToken::Kind::End)
            return Fail("unexpected text after the query: " + Peek().text);
        return true;
    }

    // Class.Key='value',Key2="value" as written between the braces of ASSOCIATORS OF.
    bool ParseObjectPath(const std::string& text, WqlObjectPath& path) {
        std::vector<WqlToken> tokens;
        std::string problem;
        if (!TokeniseWql(text, tokens, problem)) return Fail(problem);
        std::size_t at = 0;
        if (tokens[at].kind != WqlToken::Kind::Word) return Fail("an object path starts with a class name");
        path.className = tokens[at++].text;
        if (tokens[at].kind == WqlToken::Kind::End) return true;
        if (tokens[at].text != ".") return Fail("'.' was expected after the class of the object path");
        do {
            ++at;
            if (tokens[at].kind != WqlToken::Kind::Word || tokens[at + 1].text != "=")
                return Fail("Key=value was expected in the object path");
            const WqlToken& value = tokens[at + 2];
            if (value.kind != WqlToken::Kind::String && value.kind != WqlToken::Kind::Number)
                return Fail("a key value was expected in the object path");
            path.keys.emplace_back(tokens[at].text, value.text);
            at += 3;
        } while (tokens[at].text == ",");
        if (tokens[at].kind != WqlToken::Kind::End) return Fail("unexpected text in the object path");
        return true;
    }

    std::unique_ptr<WqlCondition> Combine(WqlCondition::Kind kind, std::unique_ptr<WqlCondition> left,
                                          std::unique_ptr<WqlCondition> right) {
        auto node = std::make_unique<WqlCondition>();
        node->kind = kind;
        node->left = std::move(left);
        node->right = std::move(right);
        return node;
    }

    std::unique_ptr<WqlCondition> ParseOr() {
        auto left = ParseAnd();
        while (left && Accept("OR")) {
            auto right = ParseAnd();
            if (!right) return nullptr;
            left = Combine(WqlCondition::Kind::Or, std::move(left), std::move(right));
        }
        return left;
    }

    std::unique_ptr<WqlCondition> ParseAnd() {
        auto left = ParseUnary();
        while (left && Accept("AND")) {
            auto right = ParseUnary();
            if (!right) return nullptr;
            left = Combine(WqlCondition::Kind::And, std::move(left), std::move(right));
        }
        return left;
    }

    std::unique_ptr<WqlCondition> ParseUnary() {
        if (++depth_ > 200) {
            Fail("conditions nested too deeply");
            return nullptr;
        }
        std::unique_ptr<WqlCondition> node;
        if (Accept("NOT")) {
            auto operand = ParseUnary();
            if (operand) node = Combine(WqlCondition::Kind::Not, std::move(operand), nullptr);
        } else if (AcceptSymbol("(")) {
            node = ParseOr();
            if (node && !AcceptSymbol(")")) {
                Fail(") was expected");
                node.reset();
            }
        } else {
            node = ParseComparison();
        }
        --depth_;
        return node;
    }

    bool Literal(WqlLiteral& literal) {
        const WqlToken& token = Peek();
        if (token.kind == WqlToken::Kind::String) {
            literal = {WqlLiteral::Kind::String, Next().text};
        } else if (token.kind == WqlToken::Kind::Number) {
            literal = {WqlLiteral::Kind::Number, Next().text};
        } else if (IsKeyword("TRUE") || IsKeyword("FALSE")) {
            literal = {WqlLiteral::Kind::Boolean, ToLowerAscii(Next().text)};
        } else if (IsKeyword("NULL")) {
            Next();
            literal = {WqlLiteral::Kind::Null, ""};
        } else {
            return false;
        }
        return true;
    }

    bool Operator(WqlCondition::Op& op) {
        static const std::pair<const char*, WqlCondition::Op> kSymbols[] = {
            {"=", WqlCondition::Op::Equal},           {"<>", WqlCondition::Op::NotEqual},
            {"!=", WqlCondition::Op::NotEqual},       {"<", WqlCondition::Op::Less},
            {">", WqlCondition::Op::Greater},         {"<=", WqlCondition::Op::LessOrEqual},
            {">=", WqlCondition::Op::GreaterOrEqual},
        };
        for (const auto& [symbol, value] : kSymbols) {
            if (AcceptSymbol(symbol)) {
                op = value;
                return true;
            }
        }
        if (Accept("LIKE")) {
            op = WqlCondition::Op::Like;
            return true;
        }
        return Fail("a comparison operator was expected");
    }

    static WqlCondition::Op Mirror(WqlCondition::Op op) {
        switch (op) {
            case WqlCondition::Op::Less:
                return WqlCondition::Op::Greater;
            case WqlCondition::Op::Greater:
                return WqlCondition::Op::Less;
            case WqlCondition::Op::LessOrEqual:
                return WqlCondition::Op::GreaterOrEqual;
            case WqlCondition::Op::GreaterOrEqual:
                return WqlCondition::Op::LessOrEqual;
            default:
                return op;
        }
    }

    std::unique_ptr<WqlCondition> ParseComparison() {
        auto node = std::make_unique<WqlCondition>();
        node->kind = WqlCondition::Kind::Compare;
        if (Literal(node->literal)) {
            // "5 < Prop" is read as "Prop > 5".
            if (!Operator(node->op) || !Name(node->property)) return nullptr;
            if (node->op == WqlCondition::Op::Like) {
                Fail("LIKE needs the property on its left");
                return nullptr;
            }
            node->op = Mirror(node->op);
            return node;
        }
        if (!Name(node->property)) return nullptr;
        if (Accept("IS")) {
            node->kind = Accept("NOT") ? WqlCondition::Kind::IsNotNull : WqlCondition::Kind::IsNull;
            if (!Accept("NULL")) {
                Fail("NULL was expected after IS");
                return nullptr;
            }
            return node;
        }
        if (!Operator(node->op)) return nullptr;
        if (!Literal(node->literal)) {
            Fail("a literal was expected after the operator");
            return nullptr;
        }
        if (node->op == WqlCondition::Op::Like && node->literal.kind != WqlLiteral::Kind::String) {
            Fail("LIKE needs a string pattern");
            return nullptr;
        }
        return node;
    }

    std::vector<WqlToken> tokens_;
    std::size_t position_ = 0;
    int depth_ = 0;
    std::string problem_;
};

}  // namespace

WqlParseResult ParseWql(const std::string& text) {
    WqlParseResult result;
    std::vector<WqlToken> tokens;
    if (!TokeniseWql(text, tokens, result.problem)) return result;
    Parser parser(std::move(tokens));
    WqlQuery query;
    if (parser.Parse(query))
        result.query = std::move(query);
    else
        result.problem = parser.Problem();
    return result;
}

}  // namespace qnsim
