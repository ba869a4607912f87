// What the fake WinRM service answers and where it writes down what it was asked. Everything lives in the
// folder that the environment variable QN_FAKE_WSMAN_DIR names, written by the test before each scenario:
//
//   <Class>.items         one item (an instance element, UTF-8) per line, for "select * from <Class>"; a
//   missing
//                         file is an empty result
//   <Class>.fault         an HRESULT in hexadecimal that the enumeration of <Class> fails with
//   <Class>.not-enumerator  the enumeration of <Class> succeeds with an object that is no enumerator
//   <Action>.invoke       the response of Invoke(<Action>); <Action>.invoke-fault its failure code
//   session.fault         the failure code of CreateSession
//   calls.log             appended by the fake: one line per CreateSession, Enumerate and Invoke
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace fake_wsman {

std::optional<std::string> ReadScriptFile(const std::string& name);
// The failure code scripted in `name`, if any.
std::optional<HRESULT> ScriptedFault(const std::string& name);
std::vector<std::string> ScriptedItems(const std::string& name);
void LogCall(const std::string& line);

// BSTR <-> UTF-8 text of the script.
std::string Narrow(const wchar_t* text);
BSTR Widen(const std::string& text);

}  // namespace fake_wsman
