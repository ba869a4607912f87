// Every way the WinRM service or the network can fail a check, through the exports: the result code, the
// error text with the HRESULT the client maps, a bounded wait, and the same handle working again once the
// fault has passed (each rule applies once).
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

// The client's request timeout is OperationTimeoutMs (1 s here) plus a 30 s margin; every call must return
// well within that plus 10 s.
constexpr std::chrono::seconds kReturnsWithin{41};

struct FaultCase {
    const char* name;
    Transport transport;
    const char* rule;  // one fault-injection rule
    std::uint32_t code;
    std::uint32_t enumerationTimeoutMs = 240000;
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
    *out << fault.rule;
}

class FaultMatrixTest : public ::testing::TestWithParam<FaultCase> {};

TEST_P(FaultMatrixTest, CheckFailsWithTheMappedErrorAndTheHandleRecovers) {
    const FaultCase& fault = GetParam();
    Bench bench(fault.transport);
    SimSetup setup;
    setup.faultRules = fault.rule;
    setup.enumerationTimeoutMs = fault.enumerationTimeoutMs;
    std::string error;
    ASSERT_TRUE(bench.StartSim(setup, error)) << error;
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();

    std::string list;
    std::uint32_t result = QNSNWSM_OK;
    const auto took = Timed([&] { result = bench.ServiceList(list); });
    EXPECT_EQ(result, QNSNWSM_FAILURE) << list;
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(fault.code));
    EXPECT_LT(took, kReturnsWithin);

    // The rule is used up: the same handle, without connecting again, reads the computer.
    ASSERT_EQ(bench.ServiceList(list), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_EQ(list, ExpectedServiceList());
    std::uint32_t availableMB = 0;
    EXPECT_EQ(bench.Memory(availableMB), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_EQ(availableMB, 4096u);
}

constexpr Transport kBasic = Transport::BasicOverHttp;
constexpr Transport kSealed = Transport::SealedNtlm;

// HTTP statuses and broken replies to the check's Enumerate.
INSTANTIATE_TEST_SUITE_P(
    HttpAndWire, FaultMatrixTest,
    ::testing::Values(
        FaultCase{"Status400", kBasic, "class=Win32_Service times=1 status=400", 0x80338171},
        FaultCase{"Status401", kBasic, "class=Win32_Service times=1 status=401", 0x80070005},
        FaultCase{"Status403", kBasic, "class=Win32_Service times=1 status=403", 0x80070005},
        FaultCase{"Status404", kBasic, "class=Win32_Service times=1 status=404", 0x80338113},
        FaultCase{"Status500", kBasic, "class=Win32_Service times=1 status=500", 0x80338170},
        FaultCase{"Status503", kBasic, "class=Win32_Service times=1 status=503", 0x80338112},
        FaultCase{"Truncated", kBasic, "class=Win32_Service times=1 truncate=200", 0x80338012},
        FaultCase{"Dropped", kBasic, "class=Win32_Service times=1 drop", 0x80338012},
        FaultCase{"Malformed", kBasic, "class=Win32_Service times=1 malformed", 0x80338043},
        FaultCase{"FaultAsHtml", kBasic,
                  "class=Win32_Service times=1 fault=AccessDenied content-type=text/html", 0x80338170},
        FaultCase{"Oversize", kBasic, "class=Win32_Service times=1 oversize=1200000", 0x80338048},
        FaultCase{"SlowerThanOperationTimeout", kBasic, "class=Win32_Service times=1 delay=3000",
                  0x80338029}),
    [](const auto& info) { return std::string(info.param.name); });

// Every fault the simulator can inject, on the Enumerate: the HRESULT is the fault's WSManFault Code.
INSTANTIATE_TEST_SUITE_P(
    InjectedFaults, FaultMatrixTest,
    ::testing::Values(
        FaultCase{"AccessDenied", kBasic, "class=Win32_Service times=1 fault=AccessDenied", 0x80070005},
        FaultCase{"ActionNotSupported", kBasic, "class=Win32_Service times=1 fault=ActionNotSupported",
                  0x80338013},
        FaultCase{"CannotProcessFilter", kBasic, "class=Win32_Service times=1 fault=CannotProcessFilter",
                  0x8033801A},
        FaultCase{"EncodingLimit", kBasic, "class=Win32_Service times=1 fault=EncodingLimit", 0x80338048},
        FaultCase{"MaxEnvelopeSizeTooLarge", kBasic,
                  "class=Win32_Service times=1 fault=MaxEnvelopeSizeTooLarge", 0x80338047},
        FaultCase{"FilterDialect", kBasic,
                  "class=Win32_Service times=1 fault=FilterDialectRequestedUnavailable", 0x80338019},
        FaultCase{"InternalError", kBasic, "class=Win32_Service times=1 fault=InternalError", 0x80338003},
        FaultCase{"InvalidEnumerationContext", kBasic,
                  "class=Win32_Service times=1 fault=InvalidEnumerationContext", 0x8033801B},
        FaultCase{"InvalidParameter", kBasic, "class=Win32_Service times=1 fault=InvalidParameter",
                  0x8033803A},
        FaultCase{"InvalidResourceURI", kBasic, "class=Win32_Service times=1 fault=InvalidResourceURI",
                  0x8033803B},
        FaultCase{"InvalidSelectors", kBasic, "class=Win32_Service times=1 fault=InvalidSelectors",
                  0x8033805B},
        FaultCase{"InvalidWqlEnumerationUri", kBasic,
                  "class=Win32_Service times=1 fault=InvalidWqlEnumerationUri", 0x803380FB},
        FaultCase{"MessageHeaderRequired", kBasic,
                  "class=Win32_Service times=1 fault=MessageInformationHeaderRequired", 0x80338011},
        FaultCase{"MustUnderstand", kBasic, "class=Win32_Service times=1 fault=MustUnderstand", 0x80338010},
        FaultCase{"PullParametersChanged", kBasic, "class=Win32_Service times=1 fault=PullParametersChanged",
                  0x803381AD},
        FaultCase{"QuotaLimit", kBasic, "class=Win32_Service times=1 fault=QuotaLimit", 0x803381A5},
        FaultCase{"DestinationUnreachable", kBasic,
                  "class=Win32_Service times=1 fault=DestinationUnreachable", 0x80338000},
        FaultCase{"SchemaValidationError", kBasic, "class=Win32_Service times=1 fault=SchemaValidationError",
                  0x80338041},
        FaultCase{"TimedOut", kBasic, "class=Win32_Service times=1 fault=TimedOut", 0x80338029}),
    [](const auto& info) { return std::string(info.param.name); });

// Failures in the middle of an enumeration: the Pull after the first item. The validation at connect reads a
// single item and needs no Pull, so the first Pull is the check's.
INSTANTIATE_TEST_SUITE_P(
    DuringPull, FaultMatrixTest,
    ::testing::Values(FaultCase{"Dropped", kBasic, "action=Pull times=1 drop", 0x80338012},
                      FaultCase{"Status503", kBasic, "action=Pull times=1 status=503", 0x80338112},
                      FaultCase{"TimedOut", kBasic, "action=Pull times=1 fault=TimedOut", 0x80338029},
                      FaultCase{"ContextExpired", kBasic, "action=Pull times=1 delay=700", 0x8033801B, 300}),
    [](const auto& info) { return std::string(info.param.name); });

// Sealed NTLM traffic: replies that do not unseal, and transport failures that must never resend a sealed
// body.
INSTANTIATE_TEST_SUITE_P(
    Sealed, FaultMatrixTest,
    ::testing::Values(
        FaultCase{"BadSignature", kSealed, "class=Win32_Service times=1 bad-signature", 0x80090330},
        FaultCase{"NotEncrypted", kSealed, "class=Win32_Service times=1 content-type=application/soap+xml",
                  0x80090330},
        FaultCase{"MalformedInside", kSealed, "class=Win32_Service times=1 malformed", 0x80338043},
        FaultCase{"Truncated", kSealed, "class=Win32_Service times=1 truncate=100", 0x80338012},
        FaultCase{"Dropped", kSealed, "class=Win32_Service times=1 drop", 0x80338012},
        FaultCase{"Status400", kSealed, "class=Win32_Service times=1 status=400", 0x80338171},
        FaultCase{"Status500", kSealed, "class=Win32_Service times=1 status=500", 0x80338170},
        FaultCase{"AccessDenied", kSealed, "class=Win32_Service times=1 fault=AccessDenied", 0x80070005},
        FaultCase{"PullDropped", kSealed, "action=Pull times=1 drop", 0x80338012}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qn::reliability
