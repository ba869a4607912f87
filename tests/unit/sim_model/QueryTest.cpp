// Query answers: WHERE semantics as WMI evaluates them, associators, meta_class, Get and the errors.
#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

class WorkstationQuery : public ::testing::Test {
  protected:
    // One profile for the suite, loaded on first use; queries do not change it.
    static SimulatedComputer& Model() {
        static const std::unique_ptr<SimulatedComputer> model = LoadBundled("workstation");
        return *model;
    }

    static std::size_t Count(const std::string& wql) { return Query(Model(), wql).size(); }
    static WmiError ErrorOf(const std::string& wql, const std::string& wmiNamespace = "root/cimv2") {
        auto result = Model().ExecQuery(wmiNamespace, wql, std::chrono::steady_clock::now());
        EXPECT_FALSE(result.ok) << wql;
        return result.error;
    }
};

TEST_F(WorkstationQuery, ComparisonsAssociatorsAndMetaClass) {
    const std::string groupUser = "} Where AssocClass=Win32_GroupUser Role=";
    const std::pair<std::string, std::size_t> counts[] = {
        // Strings ignore case; numbers compare as numbers ("9" > "10" as text), also with a quoted literal.
        {"SELECT * FROM WIN32_SERVICE WHERE NAME = \"SPOOLER\"", 1},
        {"select * from Win32_LogicalDisk where Name < 'd:'", 1},
        {"select * from Win32_DiskDrive where Index < 10", 2},
        {"select * from Win32_DiskDrive where Index = '1'", 1},
        {"select * from Win32_LogicalDisk where Size > 99996348415 and Size <= 99996348416", 1},
        {"select * from Win32_Process where (Name = 'notepad.exe' or Name = 'explorer.exe') "
         "and SessionId = 1",
         3},
        // Association keys and keywords ignore case, as WMI paths do; the source may name the base class.
        {"associators of {Win32_Group.Name=\"administrators\",Domain=\"ws-pc1\"} where "
         "assocclass=Win32_GroupUser role=GroupComponent resultclass=Win32_UserAccount",
         2},
        {"Associators of {Win32_Account.Domain='WS-PC1',Name='helpdesk'" + groupUser + "PartComponent", 3},
        {"Associators of {Win32_Group.Domain='NOWHERE',Name='Administrators'" + groupUser + "GroupComponent",
         0},
        {"SELECT * FROM META_CLASS WHERE __class = 'win32_process'", 1},
        {"select * from meta_class where __CLASS like 'Win32_Perf%'", 7},
    };
    for (const auto& [wql, expected] : counts) EXPECT_EQ(Count(wql), expected) << wql;
    EXPECT_EQ(Query(Model(), "select * from meta_class", "root/WebAdministration").size(), 6u);

    const std::size_t accounts = Count("select * from Win32_UserAccount");
    const std::size_t disabled = Count("select * from Win32_UserAccount where Disabled = TRUE");
    EXPECT_GT(disabled, 0u);
    EXPECT_EQ(Count("select * from Win32_UserAccount where Disabled = 1"), disabled);
    EXPECT_EQ(Count("select * from Win32_UserAccount where NOT Disabled = TRUE"), accounts - disabled);
    // A base class yields its subclasses' instances.
    EXPECT_EQ(Count("select * from Win32_Account"), accounts + Count("select * from Win32_Group"));

    // A comparison with NULL is unknown: neither it nor its negation matches.
    const std::size_t services = Count("select * from Win32_Service");
    const std::size_t withoutAccount = Count("select * from Win32_Service where StartName is null");
    EXPECT_GT(withoutAccount, 0u);
    EXPECT_EQ(Count("select * from Win32_Service where StartName = NULL"), withoutAccount);
    EXPECT_EQ(
        Count("select * from Win32_Service where StartName = 'LocalSystem' or StartName <> 'LocalSystem'"),
        services - withoutAccount);

    const auto members = Query(Model(), "Associators of {Win32_Group.Domain='WS-PC1',Name='Administrators'" +
                                            groupUser + "GroupComponent");
    ASSERT_EQ(members.size(), 3u);
    EXPECT_EQ(PropertyText(members[2].xml, "Caption"), "CORP\\Domain Admins");
    EXPECT_TRUE(members[2].xml.starts_with("<p:Win32_Group "));  // a nested group, rendered as a group
}

TEST_F(WorkstationQuery, ErrorsCarryWindowsCodes) {
    const WmiError unknownClass = ErrorOf("select * from Win32_NoSuchClass");
    EXPECT_EQ(unknownClass.kind, WmiError::Kind::InvalidClass);
    EXPECT_EQ(unknownClass.wbemCode, 0x80041010u);
    EXPECT_EQ(unknownClass.message, "The specified class does not exist in the given namespace.");
    EXPECT_EQ(ErrorOf("select * from ApplicationPool").kind,
              WmiError::Kind::InvalidClass);  // other namespace
    for (const char* wql : {"select Bogus from Win32_Service", "select * from Win32_Service where Bogus = 1"})
        EXPECT_EQ(ErrorOf(wql).wbemCode, 0x80041017u) << wql;
    EXPECT_EQ(ErrorOf("select * from Win32_Service", "root/nowhere").kind, WmiError::Kind::InvalidNamespace);
}

TEST_F(WorkstationQuery, GetByKeys) {
    const auto get = [](const char* className, const Selectors& selectors) {
        return Model().Get("root/cimv2", className, selectors, std::chrono::steady_clock::now());
    };
    const Result<RenderedItem> spooler = get("win32_service", {{"name", "SPOOLER"}});
    ASSERT_TRUE(spooler.ok);
    EXPECT_TRUE(spooler.value.xml.starts_with("<p:Win32_Service "));
    EXPECT_EQ(PropertyText(spooler.value.xml, "Name"), "Spooler");
    EXPECT_TRUE(get("Win32_OperatingSystem", {}).ok);  // a singleton needs no keys

    EXPECT_EQ(get("Win32_Service", {{"Name", "NoSuchService"}}).error.kind, WmiError::Kind::NotFound);
    EXPECT_EQ(get("Win32_Service", {{"DisplayName", "Print Spooler"}}).error.kind,
              WmiError::Kind::InvalidSelectors);
    EXPECT_EQ(get("Win32_UserAccount", {{"Name", "kiosk"}}).error.kind, WmiError::Kind::InvalidSelectors);
}

}  // namespace
}  // namespace qnsim::test
