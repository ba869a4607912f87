#include "Script.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace fake_wsman {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Read afresh on every call: the test rewrites the folder between scenarios in the same process.
std::string ScriptFolder() {
    char folder[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableA("QN_FAKE_WSMAN_DIR", folder, MAX_PATH);
    return length > 0 && length < MAX_PATH ? std::string(folder, length) : std::string();
}

}  // namespace

std::optional<std::string> ReadScriptFile(const std::string& name) {
    const File file(std::fopen((ScriptFolder() + "\\" + name).c_str(), "rb"));
    if (!file) return std::nullopt;
    std::string content;
    char chunk[4096];
    for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0;)
        content.append(chunk, got);
    return content;
}

std::optional<HRESULT> ScriptedFault(const std::string& name) {
    const auto text = ReadScriptFile(name);
    if (!text) return std::nullopt;
    return static_cast<HRESULT>(std::strtoul(text->c_str(), nullptr, 16));
}

std::vector<std::string> ScriptedItems(const std::string& name) {
    std::vector<std::string> items;
    const std::string content = ReadScriptFile(name).value_or("");
    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t end = content.find('\n', start);
        if (end == std::string::npos) end = content.size();
        std::string line = content.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) items.push_back(line);
        start = end + 1;
    }
    return items;
}

void LogCall(const std::string& line) {
    const File file(std::fopen((ScriptFolder() + "\\calls.log").c_str(), "ab"));
    if (file) std::fprintf(file.get(), "%s\n", line.c_str());
}

std::string Narrow(const wchar_t* text) {
    if (text == nullptr) return "(null)";
    const int needed = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(needed > 0 ? needed : 1, '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), needed, nullptr, nullptr);
    result.resize(result.size() - 1);
    return result;
}

BSTR Widen(const std::string& text) {
    const int needed =
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    BSTR result = SysAllocStringLen(nullptr, needed);
    if (result != nullptr) {
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result, needed);
    }
    return result;
}

}  // namespace fake_wsman
