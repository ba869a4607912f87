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
    const char* rule;  // a fault-injection rule; without "action=" it applies to the check's Enumerate
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
    setup.faultRules = std::string(fault.rule).starts_with("action=")
                           ? fault.rule
                           : std::string("class=Win32_Service times=1 ") + fault.rule;
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
const auto kName = [](const auto& info) { return std::string(info.param.name); };

// HTTP statuses and broken replies to the check's Enumerate.
INSTANTIATE_TEST_SUITE_P(HttpAndWire, FaultMatrixTest,
                         ::testing::Values(FaultCase{"Status400", kBasic, "status=400", 0x80338171},
                                           FaultCase{"Status401", kBasic, "status=401", 0x80070005},
                                           FaultCase{"Status403", kBasic, "status=403", 0x80070005},
                                           FaultCase{"Status404", kBasic, "status=404", 0x80338113},
                                           FaultCase{"Status500", kBasic, "status=500", 0x80338170},
                                           FaultCase{"Status502", kBasic, "status=502", 0x80338170},
                                           FaultCase{"Status503", kBasic, "status=503", 0x80338112},
                                           FaultCase{"Truncated", kBasic, "truncate=200", 0x80338012},
                                           FaultCase{"Dropped", kBasic, "drop", 0x80338012},
                                           FaultCase{"Malformed", kBasic, "malformed", 0x80338043},
                                           FaultCase{"FaultAsHtml", kBasic,
                                                     "fault=AccessDenied content-type=text/html", 0x80338170},
                                           FaultCase{"Oversize", kBasic, "oversize=1200000", 0x80338048},
                                           FaultCase{"SlowerThanOperationTimeout", kBasic, "delay=3000",
                                                     0x80338029}),
                         kName);

// Every fault the simulator can inject, on the Enumerate: the HRESULT is the fault's WSManFault Code.
INSTANTIATE_TEST_SUITE_P(
    InjectedFaults, FaultMatrixTest,
    ::testing::Values(
        FaultCase{"AccessDenied", kBasic, "fault=AccessDenied", 0x80070005},
        FaultCase{"ActionNotSupported", kBasic, "fault=ActionNotSupported", 0x80338013},
        FaultCase{"CannotProcessFilter", kBasic, "fault=CannotProcessFilter", 0x8033801A},
        FaultCase{"EncodingLimit", kBasic, "fault=EncodingLimit", 0x80338048},
        FaultCase{"MaxEnvelopeSizeTooLarge", kBasic, "fault=MaxEnvelopeSizeTooLarge", 0x80338047},
        FaultCase{"FilterDialect", kBasic, "fault=FilterDialectRequestedUnavailable", 0x80338019},
        FaultCase{"InternalError", kBasic, "fault=InternalError", 0x80338003},
        FaultCase{"InvalidEnumerationContext", kBasic, "fault=InvalidEnumerationContext", 0x8033801B},
        FaultCase{"InvalidParameter", kBasic, "fault=InvalidParameter", 0x8033803A},
        FaultCase{"InvalidResourceURI", kBasic, "fault=InvalidResourceURI", 0x8033803B},
        FaultCase{"InvalidSelectors", kBasic, "fault=InvalidSelectors", 0x8033805B},
        FaultCase{"InvalidWqlEnumerationUri", kBasic, "fault=InvalidWqlEnumerationUri", 0x803380FB},
        FaultCase{"MessageHeaderRequired", kBasic, "fault=MessageInformationHeaderRequired", 0x80338011},
        FaultCase{"MustUnderstand", kBasic, "fault=MustUnderstand", 0x80338010},
        FaultCase{"PullParametersChanged", kBasic, "fault=PullParametersChanged", 0x803381AD},
        FaultCase{"QuotaLimit", kBasic, "fault=QuotaLimit", 0x803381A5},
        FaultCase{"DestinationUnreachable", kBasic, "fault=DestinationUnreachable", 0x80338000},
        FaultCase{"SchemaValidationError", kBasic, "fault=SchemaValidationError", 0x80338041},
        FaultCase{"TimedOut", kBasic, "fault=TimedOut", 0x80338029}),
    kName);

// Failures in the middle of an enumeration: the Pull after the first item. The validation at connect reads a
// single item and needs no Pull, so the first Pull is the check's.
INSTANTIATE_TEST_SUITE_P(
    DuringPull, FaultMatrixTest,
    ::testing::Values(FaultCase{"Dropped", kBasic, "action=Pull times=1 drop", 0x80338012},
                      FaultCase{"Status503", kBasic, "action=Pull times=1 status=503", 0x80338112},
                      FaultCase{"TimedOut", kBasic, "action=Pull times=1 fault=TimedOut", 0x80338029},
                      FaultCase{"ContextExpired", kBasic, "action=Pull times=1 delay=700", 0x8033801B, 300}),
    kName);

// Sealed NTLM traffic: replies that do not unseal, and transport failures that must never resend a sealed
// body.
INSTANTIATE_TEST_SUITE_P(
    Sealed, FaultMatrixTest,
    ::testing::Values(FaultCase{"BadSignature", kSealed, "bad-signature", 0x80090330},
                      FaultCase{"NotEncrypted", kSealed, "content-type=application/soap+xml", 0x80090330},
                      FaultCase{"MalformedInside", kSealed, "malformed", 0x80338043},
                      FaultCase{"Truncated", kSealed, "truncate=100", 0x80338012},
                      FaultCase{"Dropped", kSealed, "drop", 0x80338012},
                      FaultCase{"Status400", kSealed, "status=400", 0x80338171},
                      FaultCase{"Status500", kSealed, "status=500", 0x80338170},
                      FaultCase{"AccessDenied", kSealed, "fault=AccessDenied", 0x80070005},
                      FaultCase{"PullDropped", kSealed, "action=Pull times=1 drop", 0x80338012}),
    kName);

}  // namespace
}  // namespace qn::reliability
