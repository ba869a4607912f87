#include "CannedComputer.h"

#include <algorithm>
#include <cctype>

namespace qntest {
namespace {

using qnsim::WmiError;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return c == '\\' ? '/' : static_cast<char>(std::tolower(c)); });
    return text;
}

template <typename T>
qnsim::Result<T> Failure(WmiError::Kind kind, std::uint32_t code, const char* message) {
    return {false, {}, {kind, code, message}};
}

// The text of <p:name> in an instance; nothing when absent.
std::optional<std::string> PropertyOf(const std::string& xml, const std::string& name) {
    const std::string open = "<p:" + name + ">";
    const std::size_t start = xml.find(open);
    if (start == std::string::npos) return std::nullopt;
    const std::size_t end = xml.find('<', start + open.size());
    return xml.substr(start + open.size(), end - start - open.size());
}

}  // namespace

CannedComputer::Key CannedComputer::KeyOf(const std::string& wmiNamespace, const std::string& className) {
    return {Lower(wmiNamespace), Lower(className)};
}

void CannedComputer::Add(const std::string& className, const Properties& properties,
                         const std::string& wmiNamespace) {
    AddItem(className, RenderInstance(className, properties, wmiNamespace), wmiNamespace);
}

void CannedComputer::AddItem(const std::string& className, std::string xml, const std::string& wmiNamespace) {
    std::lock_guard<std::mutex> lock(mutex_);
    instances_[KeyOf(wmiNamespace, className)].push_back(std::move(xml));
}

void CannedComputer::Declare(const std::string& className, const std::string& wmiNamespace) {
    std::lock_guard<std::mutex> lock(mutex_);
    instances_[KeyOf(wmiNamespace, className)].clear();
}

void CannedComputer::AddQuery(const std::string& wql, const std::string& xml) {
    std::lock_guard<std::mutex> lock(mutex_);
    queries_[wql].push_back(xml);
}

void CannedComputer::SetOutput(const std::string& method, const Properties& properties) {
    std::lock_guard<std::mutex> lock(mutex_);
    outputs_[method] = properties;
}

std::vector<CannedComputer::Call> CannedComputer::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::string CannedComputer::LastQuery() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lastQuery_;
}

bool CannedComputer::HasNamespace(const std::string& wmiNamespace) const {
    return std::any_of(namespaces_.begin(), namespaces_.end(),
                       [&](const std::string& known) { return Lower(known) == Lower(wmiNamespace); });
}

qnsim::Result<std::vector<qnsim::RenderedItem>> CannedComputer::ExecQuery(
    const std::string& wmiNamespace, const std::string& wql, std::chrono::steady_clock::time_point) {
    using Items = std::vector<qnsim::RenderedItem>;
    std::lock_guard<std::mutex> lock(mutex_);
    lastQuery_ = wql;
    if (!HasNamespace(wmiNamespace))
        return Failure<Items>(WmiError::Kind::InvalidNamespace, 0x8004100E, "Invalid namespace ");
    const std::string lower = Lower(wql);
    const std::vector<std::string>* found = nullptr;
    if (lower.rfind("associators of {", 0) == 0) {
        if (std::count(wql.begin(), wql.end(), '\'') % 2 != 0)
            return Failure<Items>(WmiError::Kind::InvalidQuery, 0x80041017, "Invalid query ");
        static const std::vector<std::string> none;
        const auto answer = queries_.find(wql);
        found = answer != queries_.end() ? &answer->second : &none;
    } else {
        const std::size_t from = lower.find(" from ");
        if (lower.rfind("select ", 0) != 0 || from == std::string::npos)
            return Failure<Items>(WmiError::Kind::InvalidQuery, 0x80041017, "Invalid query ");
        const std::string className = lower.substr(from + 6, lower.find(' ', from + 6) - from - 6);
        const auto instances = instances_.find(KeyOf(wmiNamespace, className));
        if (instances == instances_.end())
            return Failure<Items>(WmiError::Kind::InvalidClass, 0x80041010, "Invalid class ");
        found = &instances->second;
    }
    qnsim::Result<Items> result{true};
    for (const std::string& xml : *found) result.value.push_back({xml});
    return result;
}

qnsim::Result<qnsim::RenderedItem> CannedComputer::Get(const std::string& wmiNamespace,
                                                       const std::string& className,
                                                       const qnsim::Selectors& selectors,
                                                       std::chrono::steady_clock::time_point) {
    using Item = qnsim::RenderedItem;
    std::lock_guard<std::mutex> lock(mutex_);
    const auto instances = instances_.find(KeyOf(wmiNamespace, className));
    if (instances == instances_.end())
        return Failure<Item>(WmiError::Kind::InvalidClass, 0x80041010, "Invalid class ");
    if (selectors.empty() && instances->second.size() != 1)
        return Failure<Item>(WmiError::Kind::InvalidSelectors, 0, "");
    for (const std::string& xml : instances->second) {
        const bool matches = std::all_of(selectors.begin(), selectors.end(), [&](const auto& selector) {
            const auto value = PropertyOf(xml, selector.first);
            return value && Lower(*value) == Lower(selector.second);
        });
        if (matches) return {true, {xml}};
    }
    return Failure<Item>(WmiError::Kind::NotFound, 0x80041002, "Not found ");
}

qnsim::Result<qnsim::RenderedItem> CannedComputer::Invoke(
    const std::string& wmiNamespace, const std::string& className, const qnsim::Selectors& selectors,
    const std::string& method, const std::string& inputXml, std::chrono::steady_clock::time_point) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back({wmiNamespace, className, method, inputXml, selectors});
    const auto output = outputs_.find(method);
    if (output == outputs_.end())
        return Failure<qnsim::RenderedItem>(WmiError::Kind::InvalidMethod, 0x8004102E, "Invalid method ");
    return {true,
            {"<p:" + method + "_OUTPUT xmlns:p=\"" + ClassUri(wmiNamespace, className) + "\">" +
             PropertyElements(output->second) + "</p:" + method + "_OUTPUT>"}};
}

}  // namespace qntest
