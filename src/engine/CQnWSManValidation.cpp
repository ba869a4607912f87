// Access validation: right after connecting to the standard namespace, one configurable class is read so
// that wrong credentials show up at connect time.
#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"
#include "wsman/core/ConfigurationKeys.h"

namespace {

constexpr const char* kDefaultValidationClass = "Win32_ComputerSystem";

}  // namespace

void CQnWSMan::ReadValidationClass(CQncString& value) {
    using namespace wsman::config;
    EnsureRegistryKey(kHkeyLocalMachine, kWinRMKey);
    if (QueryRegistryString(kHkeyLocalMachine, kWinRMKey, kValidationClass, value) !=
        qn::platform::kConfigOk) {
        value = kDefaultValidationClass;
    }
    value.Trim();
    // Stored back so that administrators find the setting (and its default) in place after the first run.
    SetRegistryString(kHkeyLocalMachine, kWinRMKey, kValidationClass, value.GetText());
}

int CQnWSMan::WinRMValidateAccess(CQncString& errorText) {
    CQncString validationClass;
    ReadValidationClass(validationClass);
    validationClass.Trim();
    if (validationClass.IsEmpty()) {
        Trace(kTraceToFile, "Skipped WinRMValidateAccess, no validationclass specified in registry.\n");
        return 0;
    }

    Trace(kTraceToFile, "Calling WinRMValidateAccess using validation class [%s]...\n",
          validationClass.GetText());
    ItemList items;
    const int result = Enumerate(validationClass.GetText(), items, errorText) != 0 ? -1 : 0;
    Trace(kTraceToFile, "WinRMValidateAccess %s.\n", qn::engine::ResultWord(result == 0));
    return result;
}
