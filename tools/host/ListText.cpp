#include "ListText.h"

namespace qnhost {

std::vector<std::string> SplitText(std::string_view text, std::string_view separator) {
    std::vector<std::string> pieces;
    if (text.empty()) return pieces;
    std::size_t start = 0;
    while (true) {
        const std::size_t at = text.find(separator, start);
        if (at == std::string_view::npos) {
            pieces.emplace_back(text.substr(start));
            return pieces;
        }
        pieces.emplace_back(text.substr(start, at - start));
        start = at + separator.size();
    }
}

std::vector<std::vector<std::string>> SplitRows(std::string_view text, std::size_t columns,
                                                std::size_t* irregular) {
    std::vector<std::vector<std::string>> rows;
    if (irregular != nullptr) *irregular = 0;
    for (const std::string& entry : SplitText(text, "||")) {
        std::vector<std::string> row = SplitText(entry, ";;");
        if (irregular != nullptr && row.size() != columns) ++*irregular;
        if (row.empty()) row.emplace_back();
        if (row.size() < columns) row.resize(columns);
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<std::string> SplitBracketList(std::string_view text) {
    std::vector<std::string> names;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t open = text.find('[', pos);
        if (open == std::string_view::npos) break;
        const std::size_t close = text.find(']', open + 1);
        if (close == std::string_view::npos) break;
        names.emplace_back(text.substr(open + 1, close - open - 1));
        pos = close + 1;
    }
    return names;
}

}  // namespace qnhost
