#include "server/XmlText.h"

namespace qnsim {
namespace {

std::string Escape(std::string_view text, bool attribute) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += attribute ? "&quot;" : "\"";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace

std::string EscapeEnvelopeText(std::string_view text) {
    return Escape(text, false);
}
std::string EscapeEnvelopeAttribute(std::string_view text) {
    return Escape(text, true);
}

}  // namespace qnsim
