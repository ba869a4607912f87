// The ways the WinRM service or the network can fail a check, through the exports: the result code, the
// error text with the HRESULT the client maps, a bounded wait, and the same handle working again once the
// fault has passed (each rule applies once).
#include <gtest/gtest.h>

#include <cctype>
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

// "action=Pull times=1 drop" -> "action_Pull_times_1_drop", "Sealed_..." over NTLM.
std::string CaseName(const ::testing::TestParamInfo<FaultCase>& info) {
    std::string name = info.param.transport == Transport::SealedNtlm ? "Sealed_" : "";
    for (const char c : std::string(info.param.rule))
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

class FaultMatrixTest : public ::testing::TestWithParam<FaultCase> {};

TEST_P(FaultMatrixTest, CheckFailsWithTheMappedErrorAndTheHandleRecovers) {
    const FaultCase& fault = GetParam();
    Bench bench(fault.transport);
    const std::string rule = std::string(fault.rule).starts_with("action=")
                                 ? fault.rule
                                 : std::string("class=Win32_Service times=1 ") + fault.rule;
    ASSERT_TRUE(bench.StartSim({.faultRules = rule, .enumerationTimeoutMs = fault.enumerationTimeoutMs}))
        << bench.SimError();
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();

    std::string list;
    std::uint32_t result = QNSNWSM_OK;
    const auto took = Timed([&] { result = bench.ServiceList(list); });
    EXPECT_EQ(result, QNSNWSM_FAILURE) << list;
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(fault.code));
    EXPECT_LT(took, kReturnsWithin);

    // The rule is used up: the same handle, without connecting again, reads the computer.
    EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
}

constexpr Transport kBasic = Transport::BasicOverHttp;
constexpr Transport kSealed = Transport::SealedNtlm;

// One case per distinct way to fail: each HTTP status class, each broken-reply check, the two fault detail
// forms (WSManFault Code, and the CIM error object of quota faults), a Code that differs from its subcode's,
// an enumeration lost mid-way, and sealed replies that do not unseal or must not be resent.
const FaultCase kFaults[] = {
    {kBasic, "status=400", 0x80338171},
    {kBasic, "status=401", 0x80070005},
    {kBasic, "status=404", 0x80338113},
    {kBasic, "status=500", 0x80338170},
    {kBasic, "status=503", 0x80338112},
    {kBasic, "truncate=200", 0x80338012},
    {kBasic, "drop", 0x80338012},
    {kBasic, "malformed", 0x80338043},
    {kBasic, "fault=AccessDenied content-type=text/html", 0x80338170},
    {kBasic, "oversize=1200000", 0x80338048},
    {kBasic, "delay=3000", 0x80338029},  // longer than OperationTimeoutMs
    {kBasic, "fault=AccessDenied", 0x80070005},
    {kBasic, "fault=DestinationUnreachable", 0x80338000},
    {kBasic, "fault=MaxEnvelopeSizeTooLarge", 0x80338047},  // subcode w:EncodingLimit, Code decides
    {kBasic, "fault=QuotaLimit", 0x803381A5},
    // The validation at connect reads a single item, so the first Pull is the check's. An enumeration left
    // idle longer than the service keeps it is gone.
    {kBasic, "action=Pull times=1 drop", 0x80338012},
    {kBasic, "action=Pull times=1 delay=700", 0x8033801B, 300},
    {kSealed, "bad-signature", 0x80090330},
    {kSealed, "content-type=application/soap+xml", 0x80090330},
    {kSealed, "malformed", 0x80338043},
    {kSealed, "drop", 0x80338012},
    {kSealed, "fault=AccessDenied", 0x80070005},
    {kSealed, "action=Pull times=1 drop", 0x80338012}};

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrixTest, ::testing::ValuesIn(kFaults), CaseName);

}  // namespace
}  // namespace qn::reliability
