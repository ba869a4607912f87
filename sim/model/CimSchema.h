// Class definitions of the simulated WMI repository: property names with their CIM types, keys and methods,
// loaded from the JSON files under profiles/classes.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace qnsim {

enum class CimType {
    String,
    Boolean,
    UInt8,
    UInt16,
    UInt32,
    UInt64,
    SInt8,
    SInt16,
    SInt32,
    SInt64,
    Real32,
    Real64,
    Char16,
    DateTime,
    Interval,
    Reference,
};

struct PropertyDef {
    std::string name;
    CimType type = CimType::String;
    bool isArray = false;
    bool isKey = false;
    std::string referencedClass;  // for references: the class the path points to
};

struct ClassDef {
    std::string name;
    std::string wmiNamespace;
    std::string superClass;
    std::vector<PropertyDef> properties;  // in the order Windows renders them (case-insensitive alphabetical)
    std::vector<std::string> methods;
    bool singleton = false;

    const PropertyDef* FindProperty(const std::string& propertyName) const;
    bool HasMethod(const std::string& methodName) const;
    std::vector<const PropertyDef*> Keys() const;
};

// Parses "uint32", "string[]", "ref:Win32_Group"; false on an unknown type name.
bool ParseCimTypeName(const std::string& text, PropertyDef& property);
bool IsIntegerType(CimType type);
bool IsSignedType(CimType type);

// All classes of all namespaces; namespace and class lookups ignore case as WMI does.
class CimSchema {
  public:
    // Loads every *.json file of the folder; on failure returns false with a message naming file and place.
    bool LoadFolder(const std::string& folder, std::string& error);

    bool HasNamespace(const std::string& wmiNamespace) const;
    const ClassDef* FindClass(const std::string& wmiNamespace, const std::string& className) const;
    std::vector<const ClassDef*> Classes(const std::string& wmiNamespace) const;

  private:
    bool LoadFile(const std::string& path, std::string& error);

    // Namespace (normalised) -> classes by lower-case name, kept in name order for meta_class listings.
    std::map<std::string, std::map<std::string, ClassDef>> namespaces_;
};

// "root\\CIMV2" and "ROOT/cimv2" name the same namespace.
std::string NormaliseNamespace(const std::string& wmiNamespace);

}  // namespace qnsim
