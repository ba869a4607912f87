// Splits WQL text into tokens; keywords are recognised by the parser, case-insensitively.
#pragma once

#include <string>
#include <vector>

namespace qnsim {

struct WqlToken {
    enum class Kind { Word, String, Number, Symbol, ObjectPath, End };
    Kind kind = Kind::End;
    std::string text;
};

// False with a problem text on an unterminated string or a character WQL does not use.
bool TokeniseWql(const std::string& text, std::vector<WqlToken>& tokens, std::string& problem);

}  // namespace qnsim
