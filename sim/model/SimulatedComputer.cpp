#include "model/SimulatedComputer.h"

#include <algorithm>
#include <set>

#include "model/DerivedCounters.h"
#include "model/InstanceRenderer.h"
#include "model/TextRules.h"
#include "model/WmiErrors.h"
#include "model/WqlEvaluator.h"

namespace qnsim {

namespace {

constexpr const char* kMetaClass = "meta_class";

bool IsSystemProperty(const std::string& name) {
    static const char* const kNames[] = {"__CLASS", "__SUPERCLASS", "__NAMESPACE", "__SERVER", "__DYNASTY"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&](const char* known) { return EqualsIgnoreCaseAscii(name, known); });
}

FieldValue SystemField(const std::string& name, const ClassDef& classDef, const std::string& host) {
    FieldValue field;
    field.known = true;
    field.isNull = false;
    if (EqualsIgnoreCaseAscii(name, "__CLASS")) field.text = classDef.name;
    if (EqualsIgnoreCaseAscii(name, "__SUPERCLASS")) {
        field.text = classDef.superClass;
        field.isNull = classDef.superClass.empty();
    }
    if (EqualsIgnoreCaseAscii(name, "__NAMESPACE")) field.text = classDef.wmiNamespace;
    if (EqualsIgnoreCaseAscii(name, "__SERVER")) field.text = host;
    if (EqualsIgnoreCaseAscii(name, "__DYNASTY")) field.text = classDef.name;
    return field;
}

FieldValue InstanceField(const Instance& instance, const std::string& name, const std::string& host) {
    if (IsSystemProperty(name)) return SystemField(name, *instance.classDef, host);
    FieldValue field;
    const PropertyDef* property = instance.classDef->FindProperty(name);
    if (property == nullptr) return field;
    const PropertyValue& value = *instance.Find(name);
    field.known = true;
    field.isNull = value.isNull;
    field.isArray = property->isArray;
    field.type = property->type;
    if (!value.texts.empty()) field.text = value.texts.front();
    return field;
}

bool PathMatches(const ObjectPath& path, const std::string& className,
                 const std::vector<std::pair<std::string, std::string>>& keys) {
    if (!EqualsIgnoreCaseAscii(path.className, className) || path.keys.size() != keys.size()) return false;
    for (const auto& wanted : keys) {
        const bool found = std::any_of(path.keys.begin(), path.keys.end(), [&](const auto& candidate) {
            return EqualsIgnoreCaseAscii(candidate.first, wanted.first) &&
                   EqualsIgnoreCaseAscii(candidate.second, wanted.second);
        });
        if (!found) return false;
    }
    return true;
}

bool InstanceHasKeys(const Instance& instance, const std::vector<std::pair<std::string, std::string>>& keys) {
    const std::vector<const PropertyDef*> classKeys = instance.classDef->Keys();
    if (classKeys.size() != keys.size()) return false;
    for (const auto& [key, value] : keys) {
        const PropertyDef* property = instance.classDef->FindProperty(key);
        if (property == nullptr || !property->isKey) return false;
        if (!EqualsIgnoreCaseAscii(instance.Text(property->name), value)) return false;
    }
    return true;
}

}  // namespace

SimulatedComputer::SimulatedComputer(ComputerData data, std::chrono::steady_clock::time_point startTime)
    : data_(std::move(data)), startTime_(startTime) {}

std::string SimulatedComputer::HostName() const {
    return data_.hostName;
}

bool SimulatedComputer::HasNamespace(const std::string& wmiNamespace) const {
    return data_.schema->HasNamespace(wmiNamespace);
}

int SimulatedComputer::RebootRequests() const {
    std::lock_guard lock(mutex_);
    return rebootRequests_;
}

unsigned SimulatedComputer::LogicalProcessors() const {
    return LogicalProcessorCount(data_);
}

double SimulatedComputer::SecondsSinceStart(std::chrono::steady_clock::time_point now) const {
    return std::max(0.0, std::chrono::duration<double>(now - startTime_).count());
}

std::vector<Instance> SimulatedComputer::Sample(const ClassDef& classDef,
                                                std::chrono::steady_clock::time_point now) const {
    std::vector<Instance> samples = SampleInstances(data_, classDef, SecondsSinceStart(now));
    if (EqualsIgnoreCaseAscii(classDef.name, "Win32_Service")) {
        for (Instance& service : samples) {
            const std::string state = ServiceState(service, now);
            if (state == service.Text("State")) continue;
            service.Set("State", state);
            service.Set("Started", state == "Running" ? "true" : "false");
            if (state == "Stopped") service.Set("ProcessId", "0");
        }
    } else if (EqualsIgnoreCaseAscii(classDef.name, "ApplicationPool")) {
        std::lock_guard lock(mutex_);
        for (Instance& pool : samples) {
            const auto changed = poolStates_.find(ToLowerAscii(pool.Text("Name")));
            if (changed != poolStates_.end()) pool.applicationPoolState = changed->second;
        }
    }
    return samples;
}

std::vector<const ClassDef*> SimulatedComputer::ClassAndSubclasses(const std::string& wmiNamespace,
                                                                   const ClassDef& base) const {
    // WMI queries are polymorphic: a base class also yields the instances of every class derived from it.
    std::vector<const ClassDef*> classes;
    for (const ClassDef* candidate : data_.schema->Classes(wmiNamespace)) {
        for (const ClassDef* walk = candidate; walk != nullptr;
             walk = walk->superClass.empty() ? nullptr
                                             : data_.schema->FindClass(wmiNamespace, walk->superClass)) {
            if (walk == &base) {
                classes.push_back(candidate);
                break;
            }
        }
    }
    // The queried class first, as WMI enumerates it before its subclasses.
    std::stable_partition(classes.begin(), classes.end(), [&](const ClassDef* c) { return c == &base; });
    return classes;
}

Result<std::vector<RenderedItem>> SimulatedComputer::ExecQuery(const std::string& wmiNamespace,
                                                               const std::string& wql,
                                                               std::chrono::steady_clock::time_point now) {
    if (!HasNamespace(wmiNamespace)) return Failure<std::vector<RenderedItem>>(InvalidNamespaceError());
    WqlParseResult parsed = ParseWql(wql);
    if (!parsed.query) return Failure<std::vector<RenderedItem>>(InvalidQueryError());
    const WqlQuery& query = *parsed.query;
    if (query.kind == WqlQuery::Kind::Associators) return Associators(wmiNamespace, query, now);
    if (EqualsIgnoreCaseAscii(query.className, kMetaClass)) return SelectClasses(wmiNamespace, query);
    return SelectInstances(wmiNamespace, query, now);
}

Result<std::vector<RenderedItem>> SimulatedComputer::SelectInstances(
    const std::string& wmiNamespace, const WqlQuery& query, std::chrono::steady_clock::time_point now) const {
    const ClassDef* classDef = data_.schema->FindClass(wmiNamespace, query.className);
    if (classDef == nullptr) return Failure<std::vector<RenderedItem>>(InvalidClassError());
    const auto isKnown = [&](const std::string& name) {
        return IsSystemProperty(name) || classDef->FindProperty(name) != nullptr;
    };
    std::vector<const PropertyDef*> selected;
    for (const std::string& name : query.selectList) {
        const PropertyDef* property = classDef->FindProperty(name);
        if (property == nullptr) return Failure<std::vector<RenderedItem>>(InvalidQueryError());
        selected.push_back(property);
    }
    if (query.where && !FirstUnknownProperty(*query.where, isKnown).empty())
        return Failure<std::vector<RenderedItem>>(InvalidQueryError());

    std::vector<RenderedItem> items;
    for (const ClassDef* source : ClassAndSubclasses(wmiNamespace, *classDef)) {
        for (const Instance& instance : Sample(*source, now)) {
            const auto lookup = [&](const std::string& name) {
                return InstanceField(instance, name, data_.hostName);
            };
            if (query.where && !EvaluateWhere(*query.where, lookup)) continue;
            if (query.selectAll) {
                items.push_back({RenderInstance(instance, wmiNamespace)});
            } else {
                // A subclass instance is projected onto the queried class's properties of the same name.
                std::vector<const PropertyDef*> own;
                for (const PropertyDef* property : selected)
                    own.push_back(source->FindProperty(property->name));
                items.push_back({RenderFragment(instance, own, wmiNamespace)});
            }
        }
    }
    return Success(std::move(items));
}

Result<std::vector<RenderedItem>> SimulatedComputer::SelectClasses(const std::string& wmiNamespace,
                                                                   const WqlQuery& query) const {
    if (query.where && !FirstUnknownProperty(*query.where, IsSystemProperty).empty())
        return Failure<std::vector<RenderedItem>>(InvalidQueryError());
    std::vector<RenderedItem> items;
    for (const ClassDef* classDef : data_.schema->Classes(wmiNamespace)) {
        const auto lookup = [&](const std::string& name) {
            return SystemField(name, *classDef, data_.hostName);
        };
        if (query.where && !EvaluateWhere(*query.where, lookup)) continue;
        items.push_back({RenderClassDefinition(*classDef, wmiNamespace)});
    }
    return Success(std::move(items));
}

Result<std::vector<RenderedItem>> SimulatedComputer::Associators(
    const std::string& wmiNamespace, const WqlQuery& query, std::chrono::steady_clock::time_point now) const {
    using Items = std::vector<RenderedItem>;
    const ClassDef* sourceClass = data_.schema->FindClass(wmiNamespace, query.source.className);
    if (sourceClass == nullptr) return Failure<Items>(InvalidClassError());
    const ClassDef* resultClass = nullptr;
    if (!query.resultClass.empty()) {
        resultClass = data_.schema->FindClass(wmiNamespace, query.resultClass);
        if (resultClass == nullptr) return Failure<Items>(InvalidClassError());
    }
    std::vector<const ClassDef*> associations;
    if (!query.assocClass.empty()) {
        const ClassDef* assoc = data_.schema->FindClass(wmiNamespace, query.assocClass);
        if (assoc == nullptr) return Failure<Items>(InvalidClassError());
        associations.push_back(assoc);
    } else {
        associations = data_.schema->Classes(wmiNamespace);
    }

    // A path naming a base class (Win32_Account) matches links that name one of its subclasses.
    const std::vector<const ClassDef*> sourceFamily = ClassAndSubclasses(wmiNamespace, *sourceClass);
    std::vector<ObjectPath> targets;
    for (const ClassDef* assoc : associations) {
        for (const Instance& link : data_.InstancesOf(assoc)) {
            for (std::size_t from = 0; from < assoc->properties.size(); ++from) {
                const PropertyDef& fromRole = assoc->properties[from];
                if (fromRole.type != CimType::Reference || link.values[from].references.empty()) continue;
                if (!query.role.empty() && !EqualsIgnoreCaseAscii(fromRole.name, query.role)) continue;
                if (!std::any_of(sourceFamily.begin(), sourceFamily.end(), [&](const ClassDef* candidate) {
                        return PathMatches(link.values[from].references.front(), candidate->name,
                                           query.source.keys);
                    }))
                    continue;
                for (std::size_t to = 0; to < assoc->properties.size(); ++to) {
                    const PropertyDef& toRole = assoc->properties[to];
                    if (to == from || toRole.type != CimType::Reference || link.values[to].references.empty())
                        continue;
                    if (!query.resultRole.empty() && !EqualsIgnoreCaseAscii(toRole.name, query.resultRole))
                        continue;
                    targets.push_back(link.values[to].references.front());
                }
            }
        }
    }

    Items items;
    std::set<std::string> seen;
    for (const ObjectPath& target : targets) {
        const ClassDef* targetClass = data_.schema->FindClass(wmiNamespace, target.className);
        if (targetClass == nullptr) continue;
        if (resultClass != nullptr) {
            const auto family = ClassAndSubclasses(wmiNamespace, *resultClass);
            if (std::find(family.begin(), family.end(), targetClass) == family.end()) continue;
        }
        for (const Instance& instance : Sample(*targetClass, now)) {
            if (!InstanceHasKeys(instance, target.keys)) continue;
            std::string identity = targetClass->name;
            for (const auto& [key, value] : target.keys) identity += "\n" + ToLowerAscii(key + "=" + value);
            if (seen.insert(identity).second) items.push_back({RenderInstance(instance, wmiNamespace)});
            break;
        }
    }
    return Success(std::move(items));
}

std::optional<Instance> SimulatedComputer::Resolve(const ClassDef& classDef, const Selectors& selectors,
                                                   std::chrono::steady_clock::time_point now,
                                                   WmiError& error) const {
    std::vector<Instance> instances = Sample(classDef, now);
    if (selectors.empty()) {
        if (classDef.singleton && !instances.empty()) return std::move(instances.front());
        error = classDef.singleton ? NotFoundError() : InvalidSelectorsError();
        return std::nullopt;
    }
    const std::vector<const PropertyDef*> keys = classDef.Keys();
    for (const auto& [name, value] : selectors) {
        const PropertyDef* property = classDef.FindProperty(name);
        if (property == nullptr || !property->isKey) {
            error = InvalidSelectorsError();
            return std::nullopt;
        }
    }
    if (selectors.size() != keys.size()) {
        error = InvalidSelectorsError();
        return std::nullopt;
    }
    const std::vector<std::pair<std::string, std::string>> wanted(selectors.begin(), selectors.end());
    for (Instance& instance : instances)
        if (InstanceHasKeys(instance, wanted)) return std::move(instance);
    error = NotFoundError();
    return std::nullopt;
}

Result<RenderedItem> SimulatedComputer::Get(const std::string& wmiNamespace, const std::string& className,
                                            const Selectors& selectors,
                                            std::chrono::steady_clock::time_point now) {
    if (!HasNamespace(wmiNamespace)) return Failure<RenderedItem>(InvalidNamespaceError());
    const ClassDef* classDef = data_.schema->FindClass(wmiNamespace, className);
    if (classDef == nullptr) return Failure<RenderedItem>(InvalidClassError());
    WmiError error;
    std::optional<Instance> instance = Resolve(*classDef, selectors, now, error);
    if (!instance) return Failure<RenderedItem>(error);
    return Success(RenderedItem{RenderInstance(*instance, wmiNamespace)});
}

}  // namespace qnsim
