// A scripted stand-in for the WinRM automation objects, installed through the platform's factory hook.
// Tests set the replies in Script() and read back what the module asked for.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "platform/WsmanAutomation.h"

namespace qntest {

using qn::platform::HResult;

struct EnumerationReply {
    HResult result = qn::platform::kOk;
    bool nullEnumerator = false;
    std::vector<std::string> items = {};
    // Reading fails with readFailure after this many items (-1: never).
    int failAfterItems = -1;
    HResult readFailure = qn::platform::kOk;
};

struct EnumerateCall {
    std::string resourceUri;
    std::string filter;
};

struct InvokeCall {
    std::string action;
    std::string resourceUri;
    std::string parameters;
};

struct FakeWsmanScript {
    // Replies.
    HResult createResult = qn::platform::kOk;
    bool createNull = false;
    HResult optionsResult = qn::platform::kOk;
    bool optionsNull = false;
    HResult sessionResult = qn::platform::kOk;
    bool sessionNull = false;
    EnumerationReply defaultEnumeration;
    // Replies by WQL text, in turn; the last one repeats.
    std::map<std::string, std::deque<EnumerationReply>> enumerationsByFilter;
    // Invoke replies by action; other actions get invokeResult and an output with ReturnValue 0.
    std::map<std::string, std::pair<HResult, std::string>> invokeReplies;
    HResult invokeResult = qn::platform::kOk;

    // What the module asked for.
    int createCalls = 0;
    int sessionCalls = 0;
    std::string connection;
    std::int32_t sessionFlags = 0;
    bool userNameSet = false;
    bool passwordSet = false;
    std::string userName;
    std::string password;
    std::vector<EnumerateCall> enumerations;
    std::vector<InvokeCall> invocations;
    int liveSessions = 0;

    // Every later "select * from <className>" answers with these items (Answer); AnswerNext adds one more
    // reply to its turns.
    void Answer(const std::string& className, std::vector<std::string> items);
    void AnswerNext(const std::string& className, std::vector<std::string> items);
    void Fail(const std::string& className, HResult code);
    void AnswerInvoke(const std::string& action, HResult result, std::string response);
    int CountQueries(const std::string& wql) const;
};

// The one script the installed factory reads; Reset() restores every default.
FakeWsmanScript& Script();
void ResetScript();

// Makes CreateWsman build fakes; Uninstall restores the platform's factory.
void InstallFakeWsman();
void UninstallFakeWsman();

}  // namespace qntest
