// Failures below HTTP: nothing listening, a name that does not resolve, a listener that never answers, and
// a WinRM service that goes away under an open session and comes back on the same port.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

constexpr std::chrono::seconds kReturnsWithin{41};  // OperationTimeoutMs + the client's margin + 10 s

void ExpectHandleStillConnects(Bench& bench) {
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_STREQ(bench.ErrorText(), "");
    std::string list;
    EXPECT_EQ(bench.ServiceList(list), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_EQ(list, ExpectedServiceList());
}

class ConnectionFaultTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(bench_.StartSim({}, error)) << error;
    }
    Bench bench_;
};

TEST_F(ConnectionFaultTest, RefusedConnectionFailsTheConnectAndTheHandleConnectsLater) {
    EXPECT_EQ(bench_.Connect("127.0.0.1", ClosedLoopbackPort()), QNSNWSM_FAILURE);
    EXPECT_EQ(bench_.ErrorText(), WinrmErrorText(0x80338012));
    // A check on the handle whose connect failed says so instead of touching the network.
    std::string list;
    EXPECT_EQ(bench_.ServiceList(list), QNSNWSM_FAILURE);
    EXPECT_STREQ(bench_.ErrorText(),
                 "WSMan session has not been opened yet, please check connection properties");
    ExpectHandleStillConnects(bench_);
}

TEST_F(ConnectionFaultTest, UnresolvableNameFailsTheConnectAndTheHandleConnectsLater) {
    EXPECT_EQ(bench_.Connect("qnsnwsm-no-such-host.invalid", 5985), QNSNWSM_FAILURE);
    EXPECT_EQ(bench_.ErrorText(), WinrmErrorText(0x803381B9));
    ExpectHandleStillConnects(bench_);
}

TEST_F(ConnectionFaultTest, ListenerThatNeverAnswersTimesOut) {
    SilentListener silent;
    std::uint32_t result = QNSNWSM_OK;
    const auto took = Timed([&] { result = bench_.Connect("127.0.0.1", silent.Port()); });
    EXPECT_EQ(result, QNSNWSM_FAILURE);
    EXPECT_EQ(bench_.ErrorText(), WinrmErrorText(0x80338126));
    EXPECT_LT(took, kReturnsWithin);
    ExpectHandleStillConnects(bench_);
}

TEST_F(ConnectionFaultTest, ServiceThatStopsAndReturnsOnTheSamePortIsReadAgainWithoutReconnecting) {
    ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    const std::uint16_t port = bench_.SimPort();
    bench_.StopSim();

    std::string list;
    EXPECT_EQ(bench_.ServiceList(list), QNSNWSM_FAILURE);
    EXPECT_EQ(bench_.ErrorText(), WinrmErrorText(0x80338012));

    SimSetup setup;
    setup.port = port;
    std::string error;
    ASSERT_TRUE(bench_.StartSim(setup, error)) << error;
    EXPECT_EQ(bench_.ServiceList(list), QNSNWSM_OK) << bench_.ErrorText();
    EXPECT_EQ(list, ExpectedServiceList());
}

// The access check of the connect meets the fault: the connect fails with its text and closes the session,
// so checks say the session is not open; the next connect of the same handle succeeds.
TEST(ValidationFaultTest, FailedValidationClosesTheSessionAndTheNextConnectSucceeds) {
    const struct {
        const char* effect;
        std::uint32_t code;
    } faults[] = {
        {"fault=AccessDenied", 0x80070005}, {"status=503", 0x80338112},     {"drop", 0x80338012},
        {"malformed", 0x80338043},          {"fault=TimedOut", 0x80338029}, {"status=401", 0x80070005}};
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.effect);
        Bench bench;
        SimSetup setup;
        setup.faultRules = std::string("class=Win32_ComputerSystem times=1 ") + fault.effect;
        std::string error;
        ASSERT_TRUE(bench.StartSim(setup, error)) << error;
        EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
        EXPECT_EQ(bench.ErrorText(), WinrmErrorText(fault.code));
        std::string list;
        EXPECT_EQ(bench.ServiceList(list), QNSNWSM_FAILURE);
        EXPECT_STREQ(bench.ErrorText(),
                     "WSMan session has not been opened yet, please check connection properties");
        ExpectHandleStillConnects(bench);
    }
}

// Basic over plain HTTP without AllowUnencrypted: the client refuses before it sends the credentials.
TEST(UnencryptedTrafficTest, BasicOverHttpIsRefusedUnlessAllowed) {
    Bench bench(Transport::Negotiate, "AuthScheme=Basic\n");
    std::string error;
    ASSERT_TRUE(bench.StartSim({}, error)) << error;
    EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x803380DE));
}

// Sealed traffic: the restarted service knows nothing of the old security context, so the client must log
// on again on a new connection instead of sending a sealed body into the void.
TEST(SealedConnectionFaultTest, ServiceRestartUnderAnOpenSessionNeedsOnlyTheNextCall) {
    Bench bench(Transport::SealedNtlm);
    std::string error;
    ASSERT_TRUE(bench.StartSim({}, error)) << error;
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    const std::uint16_t port = bench.SimPort();
    bench.StopSim();
    SimSetup setup;
    setup.port = port;
    ASSERT_TRUE(bench.StartSim(setup, error)) << error;

    std::string list;
    EXPECT_EQ(bench.ServiceList(list), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_EQ(list, ExpectedServiceList());
}

}  // namespace
}  // namespace qn::reliability
