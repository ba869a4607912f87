// Every way the WinRM service or the network can fail a check, through the exports: the result code, the
// error text with the HRESULT the client maps, a bounded wait, and the same handle working again once the
// fault has passed (each rule applies once).
#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

struct FaultCase {
    Transport transport;
    const char* rule;  // a fault-injection rule; without "action=" it applies to the check's Enumerate
    std::uint32_t code;
    std::uint32_t enumerationTimeoutMs = 240000;
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
    *out << fault.rule;
}

// "action=Pull times=1 drop" -> "ActionPullTimes1Drop", "SealedActionPullTimes1Drop" over NTLM.
std::string CaseName(const ::testing::TestParamInfo<FaultCase>& info) {
    std::string name = info.param.transport == Transport::SealedNtlm ? "Sealed" : "";
    bool upper = true;
    for (const char c : std::string(info.param.rule)) {
        if (!std::isalnum(static_cast<unsigned char>(c))) {
            upper = true;
        } else {
            name += upper ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
            upper = false;
        }
    }
    return name;
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

const FaultCase kFaults[] = {
    // HTTP statuses and broken replies to the check's Enumerate.
    {kBasic, "status=400", 0x80338171},
    {kBasic, "status=401", 0x80070005},
    {kBasic, "status=403", 0x80070005},
    {kBasic, "status=404", 0x80338113},
    {kBasic, "status=500", 0x80338170},
    {kBasic, "status=502", 0x80338170},
    {kBasic, "status=503", 0x80338112},
    {kBasic, "truncate=200", 0x80338012},
    {kBasic, "drop", 0x80338012},
    {kBasic, "malformed", 0x80338043},
    {kBasic, "fault=AccessDenied content-type=text/html", 0x80338170},
    {kBasic, "oversize=1200000", 0x80338048},
    {kBasic, "delay=3000", 0x80338029},  // longer than OperationTimeoutMs
    // Every fault the simulator can inject, on the Enumerate: the HRESULT is the fault's WSManFault Code.
    {kBasic, "fault=AccessDenied", 0x80070005},
    {kBasic, "fault=ActionNotSupported", 0x80338013},
    {kBasic, "fault=CannotProcessFilter", 0x8033801A},
    {kBasic, "fault=EncodingLimit", 0x80338048},
    {kBasic, "fault=MaxEnvelopeSizeTooLarge", 0x80338047},
    {kBasic, "fault=FilterDialectRequestedUnavailable", 0x80338019},
    {kBasic, "fault=InternalError", 0x80338003},
    {kBasic, "fault=InvalidEnumerationContext", 0x8033801B},
    {kBasic, "fault=InvalidParameter", 0x8033803A},
    {kBasic, "fault=InvalidResourceURI", 0x8033803B},
    {kBasic, "fault=InvalidSelectors", 0x8033805B},
    {kBasic, "fault=InvalidWqlEnumerationUri", 0x803380FB},
    {kBasic, "fault=MessageInformationHeaderRequired", 0x80338011},
    {kBasic, "fault=MustUnderstand", 0x80338010},
    {kBasic, "fault=PullParametersChanged", 0x803381AD},
    {kBasic, "fault=QuotaLimit", 0x803381A5},
    {kBasic, "fault=DestinationUnreachable", 0x80338000},
    {kBasic, "fault=SchemaValidationError", 0x80338041},
    {kBasic, "fault=TimedOut", 0x80338029},
    // Failures in the middle of an enumeration: the Pull after the first item. The validation at connect
    // reads a single item and needs no Pull, so the first Pull is the check's. An enumeration left idle
    // longer than the service keeps it is gone.
    {kBasic, "action=Pull times=1 drop", 0x80338012},
    {kBasic, "action=Pull times=1 status=503", 0x80338112},
    {kBasic, "action=Pull times=1 fault=TimedOut", 0x80338029},
    {kBasic, "action=Pull times=1 delay=700", 0x8033801B, 300},
    // Sealed NTLM traffic: replies that do not unseal, and transport failures that must never resend a
    // sealed body.
    {kSealed, "bad-signature", 0x80090330},
    {kSealed, "content-type=application/soap+xml", 0x80090330},
    {kSealed, "malformed", 0x80338043},
    {kSealed, "truncate=100", 0x80338012},
    {kSealed, "drop", 0x80338012},
    {kSealed, "status=400", 0x80338171},
    {kSealed, "status=500", 0x80338170},
    {kSealed, "fault=AccessDenied", 0x80070005},
    {kSealed, "action=Pull times=1 drop", 0x80338012}};

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrixTest, ::testing::ValuesIn(kFaults), CaseName);

}  // namespace
}  // namespace qn::reliability
