// An INI-style text held as lines, so that rewriting one value keeps every other line, comments included.
// Both the configuration store and the profile files are kept in this form.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qn::platform::posix {

class IniDocument {
  public:
    struct Section {
        std::string name;
        std::vector<std::string> lines;  // as in the file, without line ends
    };

    static IniDocument Parse(std::string_view text);
    std::string Serialize() const;

    // Section names compare without regard to ASCII case.
    Section* Find(std::string_view name);
    const Section* Find(std::string_view name) const;
    Section& FindOrAdd(std::string_view name);
    bool Remove(std::string_view name);
    const std::vector<Section>& Sections() const { return sections_; }

    // "key=value" lines, blanks around key and value ignored; keys compare without regard to ASCII case,
    // comments (';', '#') are never keys.
    static std::optional<std::string> GetValue(const Section& section, std::string_view key);
    static void SetValue(Section& section, std::string_view key, std::string_view value);
    static bool RemoveValue(Section& section, std::string_view key);

  private:
    std::vector<std::string> preamble_;
    std::vector<Section> sections_;
};

bool EqualsNoCase(std::string_view left, std::string_view right);
std::string_view TrimBlanks(std::string_view text);

}  // namespace qn::platform::posix
