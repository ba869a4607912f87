#include "wsman/security/NegotiateIdentity.h"

#include <krb5.h>
#include <profile.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <type_traits>

namespace wsman::security {
namespace {

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

struct ContextFree {
    void operator()(krb5_context context) const { krb5_free_context(context); }
};
struct ProfileRelease {
    void operator()(profile_t profile) const { profile_release(profile); }
};
struct ListFree {
    void operator()(char** list) const { profile_free_list(list); }
};
struct StringRelease {
    void operator()(char* text) const { profile_release_string(text); }
};

}  // namespace

ConfiguredRealms ReadConfiguredRealms() {
    ConfiguredRealms configured;
    krb5_context rawContext = nullptr;
    const krb5_error_code initialized = krb5_init_context(&rawContext);
    const std::unique_ptr<std::remove_pointer_t<krb5_context>, ContextFree> context(rawContext);
    if (initialized != 0 || !context) {
        return configured;  // an unreadable configuration names no realm
    }
    profile_t rawProfile = nullptr;
    if (krb5_get_profile(context.get(), &rawProfile) != 0) {
        return configured;
    }
    const std::unique_ptr<std::remove_pointer_t<profile_t>, ProfileRelease> profile(rawProfile);
    const char* realmsSection[] = {"realms", nullptr};
    char** rawNames = nullptr;
    if (profile_get_subsection_names(profile.get(), realmsSection, &rawNames) == 0) {
        const std::unique_ptr<char*, ListFree> names(rawNames);
        for (char** name = names.get(); name != nullptr && *name != nullptr; ++name) {
            configured.realms.emplace_back(*name);
        }
    }
    // Read from the profile rather than with krb5_get_default_realm, which may ask DNS.
    char* rawDefault = nullptr;
    if (profile_get_string(profile.get(), "libdefaults", "default_realm", nullptr, nullptr, &rawDefault) ==
            0 &&
        rawDefault != nullptr) {
        const std::unique_ptr<char, StringRelease> defaultRealm(rawDefault);
        configured.defaultRealm = defaultRealm.get();
    }
    return configured;
}

std::optional<std::string> RealmForDomain(std::string_view domain, const ConfiguredRealms& configured) {
    if (domain.empty()) {
        return std::nullopt;
    }
    std::vector<std::string> candidates = configured.realms;
    if (!configured.defaultRealm.empty()) {
        candidates.insert(candidates.begin(), configured.defaultRealm);
    }
    for (const std::string& realm : candidates) {
        if (EqualsIgnoringCase(realm, domain)) {
            return realm;
        }
    }
    std::optional<std::string> found;
    for (const std::string& realm : candidates) {
        const std::string_view firstLabel = std::string_view(realm).substr(0, realm.find('.'));
        if (!EqualsIgnoringCase(firstLabel, domain)) {
            continue;
        }
        if (realm == configured.defaultRealm) {
            return realm;
        }
        if (found && *found != realm) {
            return std::nullopt;  // LAB.ONE.EXAMPLE or LAB.TWO.EXAMPLE: guessing could pick the wrong KDC
        }
        found = realm;
    }
    return found;
}

NegotiateIdentity ChooseNegotiateIdentity(const std::string& userName) {
    if (userName.empty()) {
        return {GssMechanism::Spnego, userName};
    }
    const std::size_t backslash = userName.find('\\');
    if (backslash == std::string::npos) {
        // A bare name has no domain that Kerberos could place in a realm.
        const bool hasRealm = userName.find('@') != std::string::npos;
        return {hasRealm ? GssMechanism::Spnego : GssMechanism::Ntlm, userName};
    }
    const std::string_view domain = std::string_view(userName).substr(0, backslash);
    const std::string user = userName.substr(backslash + 1);
    if (!user.empty()) {
        if (const auto realm = RealmForDomain(domain, ReadConfiguredRealms())) {
            return {GssMechanism::Spnego, user + "@" + *realm};
        }
    }
    return {GssMechanism::Ntlm, userName};
}

}  // namespace wsman::security
