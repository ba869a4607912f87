#include "model/WqlLexer.h"

#include <cctype>

namespace qnsim {

namespace {
bool IsWordStart(unsigned char c) {
    return std::isalpha(c) || c == '_' || c >= 0x80;
}
bool IsWordChar(unsigned char c) {
    return std::isalnum(c) || c == '_' || c >= 0x80;
}
}  // namespace

bool TokeniseWql(const std::string& text, std::vector<WqlToken>& tokens, std::string& problem) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (std::isspace(c)) {
            ++at;
        } else if (IsWordStart(c)) {
            std::size_t end = at;
            while (end < text.size() && IsWordChar(static_cast<unsigned char>(text[end]))) ++end;
            tokens.push_back({WqlToken::Kind::Word, text.substr(at, end - at)});
            at = end;
        } else if (std::isdigit(c) || ((c == '-' || c == '+') && at + 1 < text.size() &&
                                       std::isdigit(static_cast<unsigned char>(text[at + 1])))) {
            std::size_t end = at + 1;
            while (end < text.size() &&
                   (std::isdigit(static_cast<unsigned char>(text[end])) || text[end] == '.'))
                ++end;
            tokens.push_back({WqlToken::Kind::Number, text.substr(at, end - at)});
            at = end;
        } else if (c == '\'' || c == '"') {
            // WQL strings escape with a backslash: 'C:\\Windows' and 'it\'s'.
            std::string value;
            std::size_t end = at + 1;
            while (end < text.size() && text[end] != static_cast<char>(c)) {
                if (text[end] == '\\' && end + 1 < text.size()) ++end;
                value += text[end++];
            }
            if (end >= text.size()) {
                problem = "unterminated string";
                return false;
            }
            tokens.push_back({WqlToken::Kind::String, value});
            at = end + 1;
        } else if (c == '{') {
            const std::size_t end = text.find('}', at);
            if (end == std::string::npos) {
                problem = "unterminated object path";
                return false;
            }
            tokens.push_back({WqlToken::Kind::ObjectPath, text.substr(at + 1, end - at - 1)});
            at = end + 1;
        } else if (c == '<' || c == '>' || c == '!') {
            std::string symbol(1, static_cast<char>(c));
            if (at + 1 < text.size() && (text[at + 1] == '=' || (c == '<' && text[at + 1] == '>')))
                symbol += text[++at];
            if (symbol == "!") {
                problem = "unexpected '!'";
                return false;
            }
            tokens.push_back({WqlToken::Kind::Symbol, symbol});
            ++at;
        } else if (c == '=' || c == ',' || c == '(' || c == ')' || c == '*' || c == '.') {
            tokens.push_back({WqlToken::Kind::Symbol, std::string(1, static_cast<char>(c))});
            ++at;
        } else {
            problem = std::string("unexpected character '") + static_cast<char>(c) + "'";
            return false;
        }
    }
    tokens.push_back({WqlToken::Kind::End, ""});
    return true;
}

}  // namespace qnsim
