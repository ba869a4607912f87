// Every key and value name of the machine-wide configuration store (the registry on Windows, the store file
// of platform/posix/ConfigStore.cpp on Linux), in one place. They live in the client library's core because
// it is the one layer that the module, both platforms and the client all see. Each name is read through
// qn::platform::ReadConfigString (platform/ConfigStore.h).
#pragma once

namespace wsman::config {

// Under HKEY_LOCAL_MACHINE.
inline constexpr const char* kProductKey = "Software\\Quillon\\Sentrel";
inline constexpr const char* kWinRMKey = "Software\\Quillon\\Sentrel\\Server\\WinRM";

// Values of kProductKey.
inline constexpr const char* kProgFilesFolder = "ProgFilesFolder";  // where the stylesheets are installed

// Values of kWinRMKey: the module's access validation, then the Linux client's settings (meanings and
// defaults in src/wsman/README.md).
inline constexpr const char* kValidationClass = "ValidationClass";
inline constexpr const char* kAuthScheme = "AuthScheme";
inline constexpr const char* kTrustedCAFile = "TrustedCAFile";
inline constexpr const char* kCertificateThumbprintSHA256 = "CertificateThumbprintSHA256";
inline constexpr const char* kSkipCACheck = "SkipCACheck";
inline constexpr const char* kSkipCNCheck = "SkipCNCheck";
inline constexpr const char* kAllowUnencrypted = "AllowUnencrypted";
inline constexpr const char* kConnectTimeoutMs = "ConnectTimeoutMs";
inline constexpr const char* kOperationTimeoutMs = "OperationTimeoutMs";
inline constexpr const char* kRequestMarginMs = "RequestMarginMs";
inline constexpr const char* kBatchItems = "BatchItems";
inline constexpr const char* kEnumerationTimeoutMs = "EnumerationTimeoutMs";
inline constexpr const char* kEnumerationMaxBytes = "EnumerationMaxBytes";
inline constexpr const char* kEnumerationMaxEmptyBatches = "EnumerationMaxEmptyBatches";

}  // namespace wsman::config
