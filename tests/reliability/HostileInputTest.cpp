// What a careless or hostile host can pass: NULL handles, NULL and empty texts, 64 KiB names, quotes and
// backslashes, buffer sizes 0 and 1, NULL number pointers. Nothing may crash, write outside a buffer or
// break the handle (the suite runs under AddressSanitizer and UBSan in CI).
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

// Up to five text buffers of the size under test, each in a larger block whose tail must stay untouched.
struct Outputs {
    static constexpr std::size_t kBlock = 16;
    static constexpr char kFill = 'Z';

    Outputs(std::uint32_t bufferSize, bool withNumbers) : size(bufferSize), numbers(withNumbers) {
        for (auto& block : blocks) block.fill(kFill);
        values.fill(0xA5A5A5A5u);
    }
    char* Text() { return blocks.at(texts++).data(); }
    std::uint32_t* Number() { return numbers ? &values.at(numbersHandedOut++) : nullptr; }

    // The buffer rule: nothing written with size 0; with size n, the text is NUL-terminated within the first
    // n bytes and nothing after them is touched.
    void ExpectBuffersRespected(const std::string& name) const {
        for (std::size_t b = 0; b < texts; ++b) {
            const auto& block = blocks[b];
            if (size == 0) {
                EXPECT_EQ(block[0], kFill) << name << " wrote into buffer " << b << " of size 0";
                continue;
            }
            EXPECT_NE(std::memchr(block.data(), '\0', size), nullptr) << name << " buffer " << b;
            for (std::size_t i = size; i < kBlock; ++i)
                EXPECT_EQ(block[i], kFill) << name << " wrote past buffer " << b << " at " << i;
        }
    }

    std::uint32_t size;
    bool numbers;
    std::array<std::array<char, kBlock>, 5> blocks{};
    std::array<std::uint32_t, 8> values{};
    std::size_t texts = 0, numbersHandedOut = 0;
};

// One argument of an export by its type: the text under test, the next buffer or number, and the buffer
// size for every other number (sizes, and the few counts and durations a host passes in).
template <typename T>
T Argument(const char* text, Outputs& outputs) {
    if constexpr (std::is_same_v<T, const char*>)
        return text;
    else if constexpr (std::is_same_v<T, char*>)
        return outputs.Text();
    else if constexpr (std::is_same_v<T, std::uint32_t*>)
        return outputs.Number();
    else
        return outputs.size;
}

struct Export {
    const char* name;
    bool listFamily;     // writes "Handle is a NULL pointer" for a NULL handle
    bool zeroesNumbers;  // every number output is zeroed on entry; else the check sets them itself
    std::function<std::uint32_t(QNSNWSM_HANDLE, const char*, Outputs&)> call;

    template <typename... Args>
    Export(const char* exportName, std::uint32_t (*function)(QNSNWSM_HANDLE, Args...), bool list = false,
           bool zeroes = true)
        : name(exportName), listFamily(list), zeroesNumbers(zeroes) {
        call = [function](QNSNWSM_HANDLE handle, const char* text, Outputs& outputs) {
            // A braced list evaluates in order, so the buffers are handed out left to right.
            std::tuple<QNSNWSM_HANDLE, Args...> arguments{handle, Argument<Args>(text, outputs)...};
            return std::apply(function, arguments);
        };
    }
};

#define QN_EXPORT(function, ...) Export(#function, function __VA_OPT__(, ) __VA_ARGS__)

// The 30 checks and actions; the flags say where the NULL-handle rule differs (see Export).
const std::vector<Export>& Checks() {
    // clang-format off
    static const std::vector<Export> checks{
        QN_EXPORT(WSManGetDomain), QN_EXPORT(WSManGetCpuUsage), QN_EXPORT(WSManGetDisksState),
        QN_EXPORT(WSManGetLogicalDiskSpace), QN_EXPORT(WSManGetMemory), QN_EXPORT(WSManGetPrinterList),
        QN_EXPORT(WSManGetPrinterState), QN_EXPORT(WSManGetProcessList), QN_EXPORT(WSManGetProcessState),
        QN_EXPORT(WSManGetProcessCpuMemHandles), QN_EXPORT(WSManGetApplicationPoolList),
        QN_EXPORT(WSManGetApplicationPoolState, false, false), QN_EXPORT(WSManGetMsMqList),
        QN_EXPORT(WSManGetMsMqLength, false, false), QN_EXPORT(WSManGetServiceList),
        QN_EXPORT(WSManGetServiceState), QN_EXPORT(WSManGetShareState),
        QN_EXPORT(WSManGetTerminalServerSessions), QN_EXPORT(WSManGetWmiCounterData),
        QN_EXPORT(WSManGetRemovableDrives),
        QN_EXPORT(WSManGetWinUserAccountList, true), QN_EXPORT(WSManGetWinGroupList, true),
        QN_EXPORT(WSManGetWinGroupMemberList, true), QN_EXPORT(WSManGetNICList),
        QN_EXPORT(WSManGetNICTrafficValues, false, false), QN_EXPORT(WSManRestartService),
        QN_EXPORT(WSManRebootComputer), QN_EXPORT(WSManCollectClasses, true),
        QN_EXPORT(WSManCollectInstances, true), QN_EXPORT(WSManCollectProperties, true)};
    // clang-format on
    return checks;
}

TEST(HostileInputTest, NullHandleFailsEveryCheckWithItsBuffersZeroed) {
    for (const Export& check : Checks()) {
        SCOPED_TRACE(check.name);
        Outputs outputs(Outputs::kBlock, true);
        EXPECT_EQ(check.call(nullptr, "x", outputs), QNSNWSM_FAILURE);
        // The list family writes its error text into the last buffer; every other buffer is zeroed.
        const std::string errorText = std::string("Handle is a NULL pointer").substr(0, Outputs::kBlock - 1);
        for (std::size_t b = 0; b < outputs.texts; ++b)
            EXPECT_EQ(std::string(outputs.blocks[b].data(), Outputs::kBlock),
                      check.listFamily && b + 1 == outputs.texts ? errorText + '\0'
                                                                 : std::string(Outputs::kBlock, '\0'))
                << "buffer " << b;
        // Numbers the check itself sets are left as they were.
        for (std::size_t i = 0; i < outputs.numbersHandedOut; ++i)
            EXPECT_EQ(outputs.values[i], check.zeroesNumbers ? 0u : 0xA5A5A5A5u) << i;
    }
}

TEST(HostileInputTest, LifecycleExportsTolerateNullArguments) {
    ScratchStore scratch;
    EXPECT_EQ(WSManInitialize(nullptr, nullptr, nullptr), QNSNWSM_FAILURE);
    WSManShutdown(nullptr);
    WSManDisconnectComputer(nullptr);
    // A connect on a NULL handle leaves the error text alone: CHost.c in tests/e2e.
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
        ASSERT_TRUE(bench_.StartSim()) << bench_.SimError();
        ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    }
    void TearDown() override {
        EXPECT_TRUE(bench_.ReadsTheComputer()) << "the handle broke: " << bench_.ErrorText();
    }
    std::uint32_t Connect(const char* computer, const char* user, const char* password,
                          const char* wmiNamespace, char* error, std::uint32_t errorSize) {
        return WSManConnectToComputer(bench_.Handle(), computer, user, password, wmiNamespace,
                                      bench_.SimPort(), 0, 0, error, errorSize);
    }
    Bench bench_;
};

TEST_F(ConnectedHostileInputTest, ConnectWithNullEmptyAndHugeArgumentsFailsCleanly) {
    const std::string huge(64 * 1024, 'h');
    char error[256];
    for (const char* computer : {static_cast<const char*>(nullptr), "", huge.c_str(), "pc\"1'\\x"}) {
        EXPECT_EQ(Connect(computer, kUser, kPassword, "root\\cimv2", error, sizeof error), QNSNWSM_FAILURE);
        EXPECT_NE(error[0], '\0');
    }
    // No user name means the caller's own credentials, which Basic cannot use.
    for (const char* user : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(Connect("127.0.0.1", user, nullptr, nullptr, error, sizeof error), QNSNWSM_FAILURE);
        EXPECT_EQ(error, WinrmErrorText(0x803380B2));
    }
    // A namespace other than root/cimv2 is not validated at connect: a 64 KiB one connects, and the first
    // check carries it in its resource URI and fails. An error buffer of size 0 may be NULL.
    EXPECT_EQ(Connect("127.0.0.1", huge.c_str(), huge.c_str(), huge.c_str(), nullptr, 0), QNSNWSM_OK);
    std::string list;
    EXPECT_EQ(bench_.ServiceList(list), QNSNWSM_FAILURE);
    EXPECT_TRUE(std::string(bench_.ErrorText()).starts_with("WMI/WinRM Error 0x")) << bench_.ErrorText();
    // A NULL namespace is root/cimv2, validated like any other connect.
    ASSERT_EQ(Connect("127.0.0.1", kUser, kPassword, nullptr, error, 1), QNSNWSM_OK);
    EXPECT_EQ(error[0], '\0');
}

TEST_F(ConnectedHostileInputTest, EveryCheckSurvivesHostileTextsTinyBuffersAndNullNumbers) {
    const std::string huge(64 * 1024, 'n');
    const std::string quoted = "it's \"quoted\" \\ back\\slashed'";
    // Also bytes that are not UTF-8 and control characters XML 1.0 cannot carry.
    for (const char* text :
         {static_cast<const char*>(nullptr), "", huge.c_str(), quoted.c_str(), "\xff\xfe<&>\x01\x1b"}) {
        for (const Export& check : Checks()) {
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
}

}  // namespace
}  // namespace qn::reliability
