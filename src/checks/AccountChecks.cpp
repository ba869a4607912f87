// Windows user accounts, groups and the members of one group, as ";;"-joined entries of a name list.
#include "base/QncList.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "parsing/CSnWinrmNode.h"

using qn::checks::ResultWord;

namespace {

// Builds one entry from its fields, ";;" between them; empty fields leave two separators side by side.
class Entry {
  public:
    Entry& Field(const CQncString& value) {
        if (!first_) {
            text_.Append(";;");
        }
        first_ = false;
        text_.Append(value.GetText());
        return *this;
    }
    const char* Text() const { return text_.GetText(); }

  private:
    CQncString text_;
    bool first_ = true;
};

}  // namespace

int CQnWSMan::WinRMGetWinUserAccountList(CQncListString& accountList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetWinUserAccountList";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    accountList.Clear();
    qn::checks::UseCheckSeparators(accountList);
    qn::checks::UniqueNames uniqueAccountList(accountList);
    error = "";

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_UserAccount", items, error) == 0) {
        status = 0;
        UseStylesheet(kInstanceStylesheet);
        CQncString caption;
        CQncString name;
        CQncString fullName;
        CQncString lockout;
        CQncString disabled;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            // An incomplete account ends the list; the accounts before it stay listed.
            if (GetProperty(caption, "Caption", error, 0).IsEmpty() ||
                GetProperty(name, "Name", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            GetProperty(fullName, "FullName", error, 0);
            GetProperty(lockout, "Lockout", error, 1);
            GetProperty(disabled, "Disabled", error, 1);
            uniqueAccountList.Add(
                Entry().Field(caption).Field(fullName).Field(name).Field(lockout).Field(disabled).Text());
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetWinGroupList(CQncListString& groupList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetWinGroupList";
    constexpr const char* kGroupClass = "Win32_Group";
    Trace(kTraceToFile, "%s called.\n", kMethod);
    groupList.Clear();
    qn::checks::UseCheckSeparators(groupList);
    qn::checks::UniqueNames uniqueGroupList(groupList);
    error = "";

    int status = -1;
    ItemList items;
    const std::uint32_t result = Enumerate(kGroupClass, items, error);
    Trace(kTraceToFile, "Enumerate [%s], result:%ld (%s)\n", kGroupClass,
          static_cast<long>(static_cast<std::int32_t>(result)), error.GetText());
    if (result == 0) {
        status = 0;
        Trace(kTraceToFile, "Number of [%s] items retrieved: [%ld]\n", kGroupClass,
              static_cast<long>(items.size()));
        UseStylesheet(kInstanceStylesheet);
        CQncString caption;
        CQncString name;
        CQncString domain;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            name = "";
            if (!GetProperty(caption, "Caption", error, 0).IsEmpty()) {
                GetProperty(name, "Name", error, 0);
            }
            if (caption.IsEmpty() || name.IsEmpty()) {
                // Unlike an incomplete account, an incomplete group is only left out.
                Trace(kTraceToFile, "  Group NOT listed because of an empty item, Caption=[%s], Name=[%s]\n",
                      caption.GetText(), name.GetText());
                continue;
            }
            Trace(kTraceToFile, "  Group listed, Caption=[%s], Name=[%s]\n", caption.GetText(),
                  name.GetText());
            GetProperty(domain, "Domain", error, 0);
            uniqueGroupList.Add(Entry().Field(caption).Field(name).Field(domain).Text());
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetWinGroupMemberList(const char* groupName, const char* domain,
                                         CQncListString& memberList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetWinGroupMemberList";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    memberList.Clear();
    qn::checks::UseCheckSeparators(memberList);
    qn::checks::UniqueNames uniqueMemberList(memberList);
    error = "";

    // The names go into the query as they are: a quote inside them is not escaped.
    CQncString query("Associators of {Win32_Group.Domain='");
    query.Append(domain).Append("',Name='").Append(groupName);
    query.Append("'} Where AssocClass=Win32_GroupUser Role=GroupComponent");

    int status = -1;
    ItemList items;
    if (Enumerate(query.GetText(), items, error) == 0) {
        status = 0;
        UseStylesheet(kInstanceStylesheet);
        CQncString caption;
        CQncString name;
        CQncString fullName;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(caption, "Caption", error, 0).IsEmpty() ||
                GetProperty(name, "Name", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            GetProperty(fullName, "FullName", error, 0);
            uniqueMemberList.Add(Entry().Field(caption).Field(fullName).Field(name).Text());
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}
