// What a careless or hostile host can pass: NULL handles, NULL and empty texts, 64 KiB names, quotes and
// backslashes, buffer sizes 0 and 1, NULL number pointers. Nothing may crash, write outside a buffer or
// break the handle (the suite runs under AddressSanitizer and UBSan in CI).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

// Up to five text buffers of the size under test, each in a larger block whose tail must stay untouched.
struct Outputs {
    static constexpr std::size_t kBlock = 16;
    static constexpr char kFill = 'Z';

    explicit Outputs(std::uint32_t bufferSize, bool withNumbers) : size(bufferSize), numbers(withNumbers) {
        for (auto& block : blocks) block.fill(kFill);
        values.fill(0xA5A5A5A5u);
    }
    char* Text(int i) { return blocks[static_cast<std::size_t>(i)].data(); }
    std::uint32_t* Number(int i) {
        numbersHandedOut = std::max(numbersHandedOut, static_cast<std::size_t>(i) + 1);
        return numbers ? &values[static_cast<std::size_t>(i)] : nullptr;
    }

    // The buffer rule: nothing written with size 0; with size n, exactly the first n bytes are the text
    // (NUL-terminated within them) and nothing after.
    void ExpectBuffersRespected(const std::string& name) const {
        for (std::size_t b = 0; b < blocks.size(); ++b) {
            const auto& block = blocks[b];
            if (size == 0) {
                EXPECT_EQ(block[0], kFill) << name << " wrote into buffer " << b << " of size 0";
                continue;
            }
            if (block[0] == kFill) continue;  // not a buffer of this export
            EXPECT_NE(std::memchr(block.data(), '\0', size), nullptr) << name << " buffer " << b;
            for (std::size_t i = size; i < kBlock; ++i)
                EXPECT_EQ(block[i], kFill) << name << " wrote past buffer " << b << " at " << i;
        }
    }

    std::uint32_t size;
    bool numbers;
    std::array<std::array<char, kBlock>, 5> blocks{};
    std::array<std::uint32_t, 8> values{};
    std::size_t numbersHandedOut = 0;
};

struct Export {
    const char* name;
    bool listFamily;     // writes "Handle is a NULL pointer" for a NULL handle
    bool zeroesNumbers;  // every number output is zeroed on entry; else the check sets them itself
    std::function<std::uint32_t(QNSNWSM_HANDLE, const char*, Outputs&)> call;
};

// The 30 checks and actions; `text` goes into every text argument.
std::vector<Export> Checks() {
    using H = QNSNWSM_HANDLE;
    using O = Outputs;
    return {
        {"WSManGetDomain", false, true,
         [](H h, const char*, O& o) {
             return WSManGetDomain(h, o.Text(0), o.size, o.Text(1), o.size, o.Number(0));
         }},
        {"WSManGetCpuUsage", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetCpuUsage(h, t, 0, 0, o.Number(0), o.Text(0), o.size);
         }},
        {"WSManGetDisksState", false, true,
         [](H h, const char*, O& o) {
             return WSManGetDisksState(h, o.Number(0), o.Text(0), o.Text(1), o.Text(2), o.size, o.Text(3),
                                       o.size);
         }},
        {"WSManGetLogicalDiskSpace", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetLogicalDiskSpace(h, t, o.Number(0), o.Number(1), o.Number(2), o.Number(3),
                                             o.Text(0), o.size);
         }},
        {"WSManGetMemory", false, true,
         [](H h, const char*, O& o) {
             return WSManGetMemory(h, o.Number(0), o.Number(1), o.Number(2), o.Text(0), o.size);
         }},
        {"WSManGetPrinterList", false, true,
         [](H h, const char*, O& o) { return WSManGetPrinterList(h, o.Text(0), o.size, o.Text(1), o.size); }},
        {"WSManGetPrinterState", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetPrinterState(h, t, o.Number(0), o.Number(1), o.Number(2), o.Number(3), o.Text(0),
                                         o.size);
         }},
        {"WSManGetProcessList", false, true,
         [](H h, const char*, O& o) { return WSManGetProcessList(h, o.Text(0), o.size, o.Text(1), o.size); }},
        {"WSManGetProcessState", false, true,
         [](H h, const char* t, O& o) { return WSManGetProcessState(h, t, o.Number(0), o.Text(0), o.size); }},
        {"WSManGetProcessCpuMemHandles", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetProcessCpuMemHandles(h, t, t, 0, 0, 0, 0, 0, 0, o.Number(0), o.Text(0), o.size,
                                                 o.Number(1), o.Number(2), o.Number(3), o.Text(1), o.size);
         }},
        {"WSManGetApplicationPoolList", false, true,
         [](H h, const char*, O& o) {
             return WSManGetApplicationPoolList(h, o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetApplicationPoolState", false, false,
         [](H h, const char* t, O& o) {
             return WSManGetApplicationPoolState(h, t, o.Number(0), o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetMsMqList", false, true,
         [](H h, const char*, O& o) { return WSManGetMsMqList(h, o.Text(0), o.size, o.Text(1), o.size); }},
        {"WSManGetMsMqLength", false, false,
         [](H h, const char* t, O& o) {
             return WSManGetMsMqLength(h, t, o.Number(0), o.Number(1), o.Number(2), o.Text(0), o.size);
         }},
        {"WSManGetServiceList", false, true,
         [](H h, const char*, O& o) { return WSManGetServiceList(h, o.Text(0), o.size, o.Text(1), o.size); }},
        {"WSManGetServiceState", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetServiceState(h, t, o.Text(0), o.size, o.Text(1), o.size, o.Number(0), o.Text(2),
                                         o.size, o.Text(3), o.size, o.Text(4), o.size);
         }},
        {"WSManGetShareState", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetShareState(h, t, o.Number(0), o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetTerminalServerSessions", false, true,
         [](H h, const char*, O& o) {
             return WSManGetTerminalServerSessions(h, o.Number(0), o.Number(1), o.Number(2), o.Text(0),
                                                   o.size);
         }},
        {"WSManGetWmiCounterData", false, true,
         [](H h, const char* t, O& o) {
             return WSManGetWmiCounterData(h, t, t, t, o.Number(0), o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetRemovableDrives", false, true,
         [](H h, const char*, O& o) {
             return WSManGetRemovableDrives(h, o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetWinUserAccountList", true, true,
         [](H h, const char*, O& o) {
             return WSManGetWinUserAccountList(h, o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetWinGroupList", true, true,
         [](H h, const char*, O& o) {
             return WSManGetWinGroupList(h, o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetWinGroupMemberList", true, true,
         [](H h, const char* t, O& o) {
             return WSManGetWinGroupMemberList(h, t, t, o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManGetNICList", false, true,
         [](H h, const char*, O& o) { return WSManGetNICList(h, o.Text(0), o.size, o.Text(1), o.size); }},
        {"WSManGetNICTrafficValues", false, false,
         [](H h, const char* t, O& o) {
             return WSManGetNICTrafficValues(h, t, o.Number(0), o.Number(1), o.Number(2), o.Number(3),
                                             o.Text(0), o.size);
         }},
        {"WSManRestartService", false, true,
         [](H h, const char* t, O& o) { return WSManRestartService(h, t, o.Text(0), o.size); }},
        {"WSManRebootComputer", false, true,
         [](H h, const char*, O& o) { return WSManRebootComputer(h, o.Text(0), o.size); }},
        {"WSManCollectClasses", true, true,
         [](H h, const char*, O& o) { return WSManCollectClasses(h, o.Text(0), o.size, o.Text(1), o.size); }},
        {"WSManCollectInstances", true, true,
         [](H h, const char* t, O& o) {
             return WSManCollectInstances(h, t, o.Text(0), o.size, o.Text(1), o.size);
         }},
        {"WSManCollectProperties", true, true,
         [](H h, const char* t, O& o) {
             return WSManCollectProperties(h, t, o.Text(0), o.size, o.Text(1), o.size);
         }},
    };
}

// The error buffer of each export is its last text buffer.
int ErrorBufferIndex(const Outputs& outputs) {
    int last = -1;
    for (int i = 0; i < static_cast<int>(outputs.blocks.size()); ++i)
        if (outputs.blocks[static_cast<std::size_t>(i)][0] != Outputs::kFill) last = i;
    return last;
}

TEST(HostileInputTest, NullHandleFailsEveryCheckWithItsBuffersZeroed) {
    ASSERT_EQ(Checks().size(), 30u);
    for (const Export& check : Checks()) {
        SCOPED_TRACE(check.name);
        Outputs outputs(Outputs::kBlock, true);
        EXPECT_EQ(check.call(nullptr, "x", outputs), QNSNWSM_FAILURE);
        const int error = ErrorBufferIndex(outputs);
        ASSERT_GE(error, 0);
        for (int b = 0; b <= error; ++b) {
            const char* text = outputs.Text(b);
            if (check.listFamily && b == error) {
                EXPECT_EQ(std::string(text),
                          std::string("Handle is a NULL pointer").substr(0, Outputs::kBlock - 1));
            } else {
                EXPECT_EQ(std::string(text, Outputs::kBlock), std::string(Outputs::kBlock, '\0'))
                    << "buffer " << b;
            }
        }
        // Numbers the check itself sets are left as they were.
        for (std::size_t i = 0; i < outputs.numbersHandedOut; ++i)
            EXPECT_EQ(outputs.values[i], check.zeroesNumbers ? 0u : 0xA5A5A5A5u) << i;
    }
}

TEST(HostileInputTest, LifecycleExportsTolerateNullArguments) {
    qntest::ScratchStore scratch;
    EXPECT_EQ(WSManInitialize(nullptr, nullptr, nullptr), QNSNWSM_FAILURE);
    WSManShutdown(nullptr);
    WSManDisconnectComputer(nullptr);

    char error[32];
    std::memset(error, 'Z', sizeof error);
    EXPECT_EQ(
        WSManConnectToComputer(nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, 0, error, sizeof error),
        QNSNWSM_FAILURE);
    EXPECT_EQ(error[0], 'Z');  // a NULL handle leaves the error text alone

    const std::string huge(64 * 1024, 'b');
    for (const char* base : {static_cast<const char*>(nullptr), "", huge.c_str()}) {
        for (const char* trace :
             {static_cast<const char*>(nullptr), "", "/nonexistent-folder/qnsnwsm/trace.log"}) {
            QNSNWSM_HANDLE handle = nullptr;
            ASSERT_EQ(WSManInitialize(base, trace, &handle), QNSNWSM_OK);
            ASSERT_NE(handle, nullptr);
            WSManDisconnectComputer(handle);  // without a session
            WSManShutdown(handle);
        }
    }
}

class ConnectedHostileInputTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(bench_.StartSim({}, error)) << error;
        ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    }
    void ExpectHandleWorks() {
        std::string list;
        EXPECT_EQ(bench_.ServiceList(list), QNSNWSM_OK) << bench_.ErrorText();
        EXPECT_EQ(list, ExpectedServiceList());
    }
    Bench bench_;
};

TEST_F(ConnectedHostileInputTest, ConnectWithNullEmptyAndHugeArgumentsFailsCleanly) {
    const std::string huge(64 * 1024, 'h');
    char error[256];
    for (const char* computer : {static_cast<const char*>(nullptr), "", huge.c_str(), "pc\"1'\\x"}) {
        EXPECT_EQ(WSManConnectToComputer(bench_.Handle(), computer, kUser, kPassword, "root\\cimv2",
                                         bench_.SimPort(), 0, 0, error, sizeof error),
                  QNSNWSM_FAILURE);
        EXPECT_NE(error[0], '\0');
    }
    // No user name means the caller's own credentials, which Basic cannot use.
    for (const char* user : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(WSManConnectToComputer(bench_.Handle(), "127.0.0.1", user, nullptr, nullptr,
                                         bench_.SimPort(), 0, 0, error, sizeof error),
                  QNSNWSM_FAILURE);
        EXPECT_EQ(error, WinrmErrorText(0x803380B2));
    }
    // A namespace other than root/cimv2 is not validated at connect: a 64 KiB one connects, and the first
    // check carries it in its resource URI and fails. An error buffer of size 0 may be NULL.
    EXPECT_EQ(WSManConnectToComputer(bench_.Handle(), "127.0.0.1", huge.c_str(), huge.c_str(), huge.c_str(),
                                     bench_.SimPort(), 0, 0, nullptr, 0),
              QNSNWSM_OK);
    std::string list;
    EXPECT_EQ(bench_.ServiceList(list), QNSNWSM_FAILURE);
    EXPECT_EQ(std::string(bench_.ErrorText()).rfind("WMI/WinRM Error 0x", 0), 0u) << bench_.ErrorText();
    // A NULL namespace is root/cimv2, validated like any other connect.
    ASSERT_EQ(WSManConnectToComputer(bench_.Handle(), "127.0.0.1", kUser, kPassword, nullptr,
                                     bench_.SimPort(), 0, 0, error, 1),
              QNSNWSM_OK);
    EXPECT_EQ(error[0], '\0');
    ExpectHandleWorks();
}

TEST_F(ConnectedHostileInputTest, EveryCheckSurvivesHostileTextsTinyBuffersAndNullNumbers) {
    const std::string huge(64 * 1024, 'n');
    const std::string quoted = "it's \"quoted\" \\ back\\slashed'";
    // Also bytes that are not UTF-8 and control characters XML 1.0 cannot carry.
    const std::vector<const char*> texts = {nullptr, "", huge.c_str(), quoted.c_str(), "\xff\xfe<&>\x01\x1b"};
    for (const Export& check : Checks()) {
        for (const char* text : texts) {
            for (std::uint32_t size : {0u, 1u}) {
                for (bool numbers : {true, false}) {
                    SCOPED_TRACE(std::string(check.name) + " text " +
                                 (text == nullptr ? "NULL" : std::to_string(std::strlen(text)) + " bytes") +
                                 " size " + std::to_string(size) + (numbers ? "" : " NULL numbers"));
                    Outputs outputs(size, numbers);
                    const std::uint32_t result = check.call(bench_.Handle(), text, outputs);
                    EXPECT_TRUE(result == QNSNWSM_OK || result == QNSNWSM_FAILURE) << result;
                    outputs.ExpectBuffersRespected(check.name);
                }
            }
        }
    }
    ExpectHandleWorks();
}

// The group-member query inserts the names as they are. A quote ends the WQL string early: the service
// refuses the query as a syntax error, and nothing but that one read-only query is affected.
TEST_F(ConnectedHostileInputTest, GroupMemberNamesReachTheQueryUnchanged) {
    char list[256];
    char error[256];
    EXPECT_EQ(WSManGetWinGroupMemberList(bench_.Handle(), "Admins' OR Name='x", "PC1", list, sizeof list,
                                         error, sizeof error),
              QNSNWSM_OK)
        << error;
    EXPECT_EQ(bench_.Computer()->LastQuery(),
              "Associators of {Win32_Group.Domain='PC1',Name='Admins' OR Name='x'} Where "
              "AssocClass=Win32_GroupUser "
              "Role=GroupComponent");

    EXPECT_EQ(
        WSManGetWinGroupMemberList(bench_.Handle(), "O'Brien", "PC1", list, sizeof list, error, sizeof error),
        QNSNWSM_FAILURE);
    EXPECT_EQ(error, WinrmErrorText(0x8033801A));
    EXPECT_STREQ(list, "");

    EXPECT_EQ(WSManGetWinGroupMemberList(bench_.Handle(), "Back\\slash \"quoted\"", "DOMAIN\\PC1", list,
                                         sizeof list, error, sizeof error),
              QNSNWSM_OK)
        << error;
    EXPECT_NE(bench_.Computer()->LastQuery().find("Domain='DOMAIN\\PC1',Name='Back\\slash \"quoted\"'"),
              std::string::npos)
        << bench_.Computer()->LastQuery();
    ExpectHandleWorks();
}

}  // namespace
}  // namespace qn::reliability
