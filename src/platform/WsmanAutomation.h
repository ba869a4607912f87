// The WinRM automation objects as the module drives them: a connection-options object with user name and
// password, a session created from a URL, flags and options, an Enumerate that hands back an enumerator
// (AtEndOfStream / ReadItem), and an Invoke that returns the method's output element as text.
//
// Windows implements this over the WSMan COM class (IWSMan, IWSManSession, ...); POSIX over our own
// WS-Management client. Texts cross this seam already converted to the module's ANSI text (UTF-8 on POSIX,
// the ANSI code page on Windows). Every call returns an HRESULT-style code: negative means failure, and the
// code is the one the Windows WinRM client would report for the same situation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "wsman/core/EnumeratedItem.h"
#include "wsman/core/HResult.h"

namespace qn::platform {

// The one HResult type; the client library defines it (and its error table) for both platforms.
using wsman::Failed;
using wsman::HResult;
using wsman::kOk;
// An item as the enumerator hands it over: text, and on POSIX the tree the client read it into.
using wsman::EnumeratedItem;
using wsman::Succeeded;
using wsman::ToHResult;

// WSManSessionFlags of the automation API that the module uses.
constexpr std::int32_t kWsmanFlagCredUsernamePassword = 0x1000;  // 4096

class WsmanConnectionOptions {
  public:
    virtual ~WsmanConnectionOptions() = default;
    virtual HResult SetUserName(const std::string& userName) = 0;
    virtual HResult SetPassword(const std::string& password) = 0;
};

class WsmanEnumerator {
  public:
    virtual ~WsmanEnumerator() = default;
    // atEnd := true once every item has been read.
    virtual HResult AtEndOfStream(bool& atEnd) = 0;
    // item := the next item (one instance element or one w:XmlFragment): its XML text, and where the
    // platform's client read the reply itself, the tree it read the item into (see XmlDocument::LoadItem).
    virtual HResult ReadItem(EnumeratedItem& item) = 0;
};

class WsmanSession {
  public:
    virtual ~WsmanSession() = default;
    // Starts an enumeration of resourceUri with a filter in the given dialect (the WQL dialect URI for WQL).
    // On success `enumerator` is set; a success with no enumerator is the "null pointer cast" case.
    virtual HResult Enumerate(const std::string& resourceUri, const std::string& filter,
                              const std::string& dialect, std::int32_t flags,
                              std::unique_ptr<WsmanEnumerator>& enumerator) = 0;
    // Invokes `action` (a method name) on resourceUri (a class URI, optionally with "?Key=value" selectors)
    // with the method's input element; response := the method's output element as text.
    virtual HResult Invoke(const std::string& action, const std::string& resourceUri,
                           const std::string& parameters, std::int32_t flags, std::string& response) = 0;
};

class Wsman {
  public:
    virtual ~Wsman() = default;
    virtual HResult CreateConnectionOptions(std::unique_ptr<WsmanConnectionOptions>& options) = 0;
    // options may be null (the caller's own credentials).
    virtual HResult CreateSession(const std::string& connection, std::int32_t flags,
                                  WsmanConnectionOptions* options,
                                  std::unique_ptr<WsmanSession>& session) = 0;
};

// The stand-in for CoCreateInstance of the WSMan class. On failure returns the code and leaves `wsman`
// empty (0x80040154 where the class is not registered). Uses the factory set below, else the platform's.
HResult CreateWsman(std::unique_ptr<Wsman>& wsman);

// The platform's own factory (posix/ or windows/).
HResult CreatePlatformWsman(std::unique_ptr<Wsman>& wsman);

// Replaces the factory that CreateWsman uses (tests; hosts that bring their own transport).
// Null restores the platform's. Set it before any module object is initialised.
using WsmanFactory = HResult (*)(std::unique_ptr<Wsman>& wsman);
void SetWsmanFactory(WsmanFactory factory);

// The standard WinRM URIs the module builds on.
inline constexpr const char* kWmiResourceUriPrefix = "http://schemas.microsoft.com/wbem/wsman/1/wmi/";
inline constexpr const char* kWqlDialectUri = "http://schemas.microsoft.com/wbem/wsman/1/WQL";

}  // namespace qn::platform
