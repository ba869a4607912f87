#include "ModuleStore.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#ifndef QNSNWSM_DEFAULT_REGISTRY
#define QNSNWSM_DEFAULT_REGISTRY "/etc/qnsnwsm/registry.conf"
#endif

namespace qnexporter {

namespace {

const char* const kWinRmSection = "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]";

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace

std::string WithWinRmValues(const std::string& store,
                            const std::vector<std::pair<std::string, std::string>>& values) {
    std::string written;
    for (const auto& [name, value] : values) written += name + "=" + value + "\n";
    std::istringstream lines(store);
    std::string out;
    bool inSection = false;
    bool placed = false;
    for (std::string line; std::getline(lines, line);) {
        const std::string trimmed = Trimmed(line);
        if (!trimmed.empty() && trimmed.front() == '[') {
            inSection = Lower(trimmed) == Lower(kWinRmSection);
            out += line + "\n";
            if (inSection && !placed) out += written, placed = true;
            continue;
        }
        if (inSection) {
            const std::string name = Lower(Trimmed(trimmed.substr(0, trimmed.find('='))));
            const bool replaced = std::any_of(values.begin(), values.end(),
                                              [&](const auto& v) { return Lower(v.first) == name; });
            if (replaced && trimmed.find('=') != std::string::npos) continue;
        }
        out += line + "\n";
    }
    if (!placed) out += std::string("\n") + kWinRmSection + "\n" + written;
    return out;
}

std::optional<std::string> UsePrivateModuleStore(const ExporterSettings& settings, std::string& error) {
    const char* current = std::getenv("QNSNWSM_REGISTRY");
    const std::string source = !settings.moduleStore.empty()      ? settings.moduleStore
                               : (current != nullptr && *current) ? std::string(current)
                                                                  : std::string(QNSNWSM_DEFAULT_REGISTRY);
    std::string text;
    if (std::ifstream in(source); in) {
        text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } else if (!settings.moduleStore.empty()) {
        error = "cannot read the module store " + source + " (exporter.module_store)";
        return std::nullopt;
    }
    std::vector<std::pair<std::string, std::string>> values{
        {"ConnectTimeoutMs", std::to_string(settings.connectTimeout.count())},
        {"OperationTimeoutMs", std::to_string(settings.operationTimeout.count())},
        {"EnumerationTimeoutMs", std::to_string(settings.operationTimeout.count())}};
    if (!settings.authScheme.empty()) {
        static const std::pair<const char*, const char*> names[] = {
            {"negotiate", "Negotiate"}, {"kerberos", "Kerberos"}, {"ntlm", "NTLM"}, {"basic", "Basic"}};
        for (const auto& [key, name] : names)
            if (settings.authScheme == key) values.emplace_back("AuthScheme", name);
    }
    const char* runtime = std::getenv("RUNTIME_DIRECTORY");  // systemd's private folder, when there is one
    std::string folder =
        std::string(runtime != nullptr && *runtime ? runtime : "/tmp") + "/qnsnwsm-exporter.XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        error =
            "cannot create a private folder for the module store in " + folder.substr(0, folder.rfind('/'));
        return std::nullopt;
    }
    const std::string path = folder + "/registry.conf";
    std::ofstream out(path, std::ios::trunc);
    out << WithWinRmValues(text, values);
    if (!out.flush()) {
        error = "cannot write " + path;
        return std::nullopt;
    }
    chmod(path.c_str(), 0600);
    setenv("QNSNWSM_REGISTRY", path.c_str(), 1);
    setenv("QNSNWSM_STATE", (folder + "/state.conf").c_str(),
           1);  // the module's write-backs stay private too
    return path;
}

}  // namespace qnexporter
