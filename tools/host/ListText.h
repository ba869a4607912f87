// Splitting the module's joined list texts back into rows. The separators are not escaped, so a value the
// computer reports can forge extra fields or rows: the rows are for display (and for picking an item to read
// next in the full run), never for a security or health decision.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qnhost {

// Splits at every occurrence of `separator`; an empty text gives no pieces.
std::vector<std::string> SplitText(std::string_view text, std::string_view separator);

// A list export's text ("a;;b||c;;d") as rows of fields, padded to `columns` fields each. `irregular`, when
// given, counts the entries whose field count was not `columns`: a value holding a separator shifts fields,
// so such a list must not decide anything.
std::vector<std::vector<std::string>> SplitRows(std::string_view text, std::size_t columns,
                                                std::size_t* irregular = nullptr);

// "[Disk 0],[Disk 1]" -> {"Disk 0", "Disk 1"}.
std::vector<std::string> SplitBracketList(std::string_view text);

}  // namespace qnhost
