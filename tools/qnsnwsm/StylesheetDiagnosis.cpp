#include "StylesheetDiagnosis.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Version.h"

namespace qncli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kProductSection = "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]";
constexpr const char* kFolderValue = "ProgFilesFolder";

// The record parser's texts for a missing or unusable stylesheet.
constexpr std::array<const char*, 4> kParserErrors = {"XSL Stylesheet missing", "Load XML data failed",
                                                      "Tranform XML data failed", "XML attribute missing"};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\"");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r\"") - first + 1);
}

std::string ConfigurationFile() {
    const char* chosen = std::getenv("QNSNWSM_REGISTRY");
    return chosen != nullptr && *chosen != '\0' ? chosen : QNSNWSM_DEFAULT_REGISTRY;
}

// The program folder the administrator's file names, as the module maps it ('\' is '/').
std::string ConfiguredFolder(const std::string& file) {
    std::ifstream in(file);
    std::string line, folder;
    bool inProduct = false;
    while (std::getline(in, line)) {
        line = Trim(line);
        if (!line.empty() && line.front() == '[') {
            inProduct = Lower(line) == Lower(kProductSection);
        } else if (const auto eq = line.find('='); inProduct && eq != std::string::npos &&
                                                   Lower(Trim(line.substr(0, eq))) == Lower(kFolderValue)) {
            folder = Trim(line.substr(eq + 1));
        }
    }
    std::replace(folder.begin(), folder.end(), '\\', '/');
    return folder;
}

}  // namespace

std::string DiagnoseStylesheets(const std::string& moduleError) {
    if (std::none_of(kParserErrors.begin(), kParserErrors.end(),
                     [&](const char* text) { return moduleError.find(text) != std::string::npos; }))
        return "";
    const std::string file = ConfigurationFile();
    const std::string configured = ConfiguredFolder(file);
    const fs::path folder = configured.empty() ? fs::path(QNSNWSM_DATA_DIR) : fs::path(configured);
    auto holdsStylesheets = [](const fs::path& candidate) {
        std::error_code ignored;
        return fs::exists(candidate / "Sys/Wsman/WsmTxtEx.xsl", ignored) &&
               fs::exists(candidate / "Sys/Wsman/WsmProps.xsl", ignored);
    };
    if (holdsStylesheets(folder)) return "";
    // With no folder configured, the library first looks beside its own file (a moved or relocated install).
    const std::string library = LoadedLibraryFile();
    if (configured.empty() && !library.empty() &&
        holdsStylesheets(fs::path(library).parent_path() / QNSNWSM_DATA_DIR_FROM_LIBDIR))
        return "";
    const std::string where = configured.empty()
                                  ? "the installed data folder " + folder.string() + " (no " + kFolderValue +
                                        " is set in " + file + ")"
                                  : folder.string() + " (" + kFolderValue + " in " + file + ")";
    return "the module's stylesheets Sys/Wsman/WsmTxtEx.xsl and WsmProps.xsl are not in " + where + ": set " +
           kFolderValue + " under " + kProductSection + " in " + file +
           " to the folder that holds Sys/Wsman (the installed one is " + QNSNWSM_DATA_DIR + ")";
}

}  // namespace qncli
