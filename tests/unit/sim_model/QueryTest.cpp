// Query answers: WHERE semantics as WMI evaluates them, associators, meta_class, Get and the errors.
#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

class WorkstationQuery : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { model_ = LoadBundled("workstation").release(); }
    static void TearDownTestSuite() {
        delete model_;
        model_ = nullptr;
    }
    static std::size_t Count(const std::string& wql) { return Query(*model_, wql).size(); }
    static WmiError ErrorOf(const std::string& wql, const std::string& wmiNamespace = "root/cimv2") {
        Result<std::vector<RenderedItem>> result =
            model_->ExecQuery(wmiNamespace, wql, std::chrono::steady_clock::now());
        EXPECT_FALSE(result.ok) << wql;
        return result.error;
    }
    static SimulatedComputer* model_;
};
SimulatedComputer* WorkstationQuery::model_ = nullptr;

TEST_F(WorkstationQuery, StringComparisonsIgnoreCase) {
    EXPECT_EQ(Count("select * from Win32_Service where Name = 'spooler'"), 1u);
    EXPECT_EQ(Count("SELECT * FROM WIN32_SERVICE WHERE NAME = \"SPOOLER\""), 1u);
    EXPECT_EQ(Count("select * from Win32_LogicalDisk where Name < 'd:'"), 1u);  // only C:
    EXPECT_EQ(Count("select * from Win32_LogicalDisk where Name >= 'D:'"), 2u);
}

TEST_F(WorkstationQuery, NumbersCompareAsNumbers) {
    // Lexically "9" > "10", numerically not.
    EXPECT_EQ(Count("select * from Win32_DiskDrive where Index < 10"), 2u);
    EXPECT_EQ(Count("select * from Win32_DiskDrive where Index > 0"), 1u);
    EXPECT_EQ(Count("select * from Win32_DiskDrive where Index <> 0"), 1u);
    EXPECT_EQ(Count("select * from Win32_DiskDrive where Index = '1'"), 1u);
    EXPECT_EQ(Count("select * from Win32_LogicalDisk where Size > 99996348415 and Size <= 99996348416"), 1u);
}

TEST_F(WorkstationQuery, BooleansAndNulls) {
    const std::size_t all = Count("select * from Win32_UserAccount");
    const std::size_t disabled = Count("select * from Win32_UserAccount where Disabled = TRUE");
    EXPECT_GT(disabled, 0u);
    EXPECT_EQ(disabled + Count("select * from Win32_UserAccount where Disabled = false"), all);
    EXPECT_EQ(Count("select * from Win32_UserAccount where Disabled = 1"), disabled);
    EXPECT_EQ(Count("select * from Win32_UserAccount where NOT Disabled = TRUE"), all - disabled);

    const std::size_t services = Count("select * from Win32_Service");
    const std::size_t withoutAccount = Count("select * from Win32_Service where StartName is null");
    EXPECT_GT(withoutAccount, 0u);
    EXPECT_EQ(withoutAccount + Count("select * from Win32_Service where StartName IS NOT NULL"), services);
    EXPECT_EQ(Count("select * from Win32_Service where StartName = NULL"), withoutAccount);
    // A comparison with a NULL value is neither true nor, negated, a match for everything.
    EXPECT_EQ(
        Count("select * from Win32_Service where StartName = 'LocalSystem' or StartName <> 'LocalSystem'"),
        services - withoutAccount);
}

TEST_F(WorkstationQuery, LikeAndCombinations) {
    EXPECT_EQ(Count("select * from Win32_Process where Name like 'svchost%'"), 48u);
    EXPECT_EQ(Count("select * from Win32_Process where Name like 'SVCHOST.EXE' and ProcessId < 910"), 10u);
    EXPECT_EQ(Count("select * from Win32_Process where (Name = 'notepad.exe' or Name = 'explorer.exe') and "
                    "SessionId = 1"),
              3u);
    EXPECT_EQ(Count("select * from Win32_LogicalDisk where Name like '[cd]:'"), 2u);
    EXPECT_EQ(Count("select * from Win32_LogicalDisk where Name like '[^c]:'"), 2u);
}

TEST_F(WorkstationQuery, SystemPropertiesAndPolymorphism) {
    EXPECT_EQ(Count("select * from Win32_Share where __CLASS = 'Win32_Share'"),
              Count("select * from Win32_Share"));
    // Querying a base class yields the instances of its subclasses, rendered as those classes.
    const auto accounts = Query(*model_, "select * from Win32_Account");
    EXPECT_EQ(accounts.size(), Count("select * from Win32_UserAccount") + Count("select * from Win32_Group"));
    EXPECT_EQ(Count("select * from CIM_LogicalDisk"), 3u);
}

// "Associators of {<source>} Where AssocClass=Win32_GroupUser Role=<role>", as the group checks ask.
std::vector<RenderedItem> Associated(SimulatedComputer& model, const std::string& source, const char* role,
                                     const std::string& extra = "") {
    return Query(model,
                 "Associators of {" + source + "} Where AssocClass=Win32_GroupUser Role=" + role + extra);
}

TEST_F(WorkstationQuery, AssociatorsListGroupMembersWithNestedGroups) {
    const auto members =
        Associated(*model_, "Win32_Group.Domain='WS-PC1',Name='Administrators'", "GroupComponent");
    ASSERT_EQ(members.size(), 3u);
    EXPECT_EQ(PropertyText(members[0].xml, "Caption"), "WS-PC1\\Administrator");
    EXPECT_EQ(PropertyText(members[1].xml, "Caption"), "WS-PC1\\helpdesk");
    EXPECT_EQ(PropertyText(members[2].xml, "Caption"), "CORP\\Domain Admins");
    EXPECT_NE(members[2].xml.find("<p:Win32_Group "), std::string::npos);

    // Key values match without regard to case, as WMI paths do; keywords too.
    EXPECT_EQ(Query(*model_,
                    "associators of {Win32_Group.Name=\"administrators\",Domain=\"ws-pc1\"} where "
                    "assocclass=Win32_GroupUser role=GroupComponent resultclass=Win32_UserAccount")
                  .size(),
              2u);
    // From the member's side the groups come back, also when the source names the base class.
    EXPECT_EQ(
        Associated(*model_, "Win32_UserAccount.Domain='WS-PC1',Name='helpdesk'", "PartComponent").size(), 3u);
    EXPECT_EQ(Associated(*model_, "Win32_Account.Domain='WS-PC1',Name='helpdesk'", "PartComponent").size(),
              3u);
    EXPECT_TRUE(
        Associated(*model_, "Win32_Group.Domain='WS-PC1',Name='Backup Operators'", "GroupComponent").empty());
    EXPECT_TRUE(
        Associated(*model_, "Win32_Group.Domain='NOWHERE',Name='Administrators'", "GroupComponent").empty());
}

TEST_F(WorkstationQuery, MetaClassListsDefinitionsOfTheNamespace) {
    const auto classes = Query(*model_, "select * from meta_class");
    EXPECT_GT(classes.size(), 25u);
    bool sawSystem = false, sawCim = false, sawWin32 = false;
    for (const auto& item : classes) {
        sawSystem |= item.xml.starts_with("<p:__Namespace ");
        sawCim |= item.xml.starts_with("<p:CIM_Process ");
        sawWin32 |= item.xml.starts_with("<p:Win32_Process ");
    }
    EXPECT_TRUE(sawSystem && sawCim && sawWin32);
    EXPECT_EQ(Count("SELECT * FROM META_CLASS WHERE __class = 'win32_process'"), 1u);
    EXPECT_EQ(Count("select * from meta_class where __CLASS like 'Win32_Perf%'"), 7u);
    EXPECT_EQ(Count("select * from meta_class where __CLASS = 'Win32_NoSuchClass'"), 0u);
    EXPECT_EQ(Query(*model_, "select * from meta_class", "root/WebAdministration").size(), 6u);
}

TEST_F(WorkstationQuery, ErrorsCarryWindowsCodes) {
    const WmiError unknownClass = ErrorOf("select * from Win32_NoSuchClass");
    EXPECT_EQ(unknownClass.kind, WmiError::Kind::InvalidClass);
    EXPECT_EQ(unknownClass.wbemCode, 0x80041010u);
    EXPECT_EQ(unknownClass.message, "The specified class does not exist in the given namespace.");
    EXPECT_EQ(ErrorOf("select * from ApplicationPool").kind, WmiError::Kind::InvalidClass);

    for (const char* wql :
         {"select * form Win32_Service", "select Bogus from Win32_Service",
          "select * from Win32_Service where Bogus = 1", "select * from meta_class where Name = 'x'"}) {
        const WmiError error = ErrorOf(wql);
        EXPECT_EQ(error.kind, WmiError::Kind::InvalidQuery) << wql;
        EXPECT_EQ(error.wbemCode, 0x80041017u) << wql;
    }
    EXPECT_EQ(ErrorOf("select * from Win32_Service", "root/nowhere").kind, WmiError::Kind::InvalidNamespace);
    EXPECT_EQ(ErrorOf("associators of {Win32_Nothing.Name='x'} where AssocClass=Win32_GroupUser").kind,
              WmiError::Kind::InvalidClass);
}

TEST_F(WorkstationQuery, GetByKeysAndSingletons) {
    EXPECT_TRUE(model_->HasNamespace("ROOT\\CIMV2"));  // namespaces ignore case and separators
    EXPECT_TRUE(model_->HasNamespace("root/webadministration"));
    EXPECT_FALSE(model_->HasNamespace("root/default"));
    EXPECT_EQ(model_->HostName(), "WS-PC1");

    const auto get = [](const char* className, const Selectors& selectors) {
        return model_->Get("root/cimv2", className, selectors, std::chrono::steady_clock::now());
    };
    const Result<RenderedItem> spooler = get("win32_service", {{"name", "SPOOLER"}});
    ASSERT_TRUE(spooler.ok);
    EXPECT_EQ(PropertyText(spooler.value.xml, "Name"), "Spooler");
    EXPECT_TRUE(spooler.value.xml.starts_with("<p:Win32_Service "));
    EXPECT_EQ(PropertyText(get("Win32_OperatingSystem", {}).value.xml, "Caption"),
              "Microsoft Windows 10 Pro");
    EXPECT_EQ(PropertyText(get("Win32_UserAccount", {{"Domain", "WS-PC1"}, {"Name", "kiosk"}}).value.xml,
                           "FullName"),
              "Kiosk User");

    EXPECT_EQ(get("Win32_Service", {{"Name", "NoSuchService"}}).error.kind, WmiError::Kind::NotFound);
    EXPECT_EQ(get("Win32_Nothing", {{"Name", "x"}}).error.kind, WmiError::Kind::InvalidClass);
    for (const Selectors& wrongKeys : {Selectors{}, Selectors{{"DisplayName", "Print Spooler"}}})
        EXPECT_EQ(get("Win32_Service", wrongKeys).error.kind, WmiError::Kind::InvalidSelectors);
    EXPECT_EQ(get("Win32_UserAccount", {{"Name", "kiosk"}}).error.kind, WmiError::Kind::InvalidSelectors);
}

}  // namespace
}  // namespace qnsim::test
