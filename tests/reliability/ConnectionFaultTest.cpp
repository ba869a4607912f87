// Failures below HTTP and at the connect: nothing listening, a name that does not resolve, a listener that
// never answers, an access check that meets a fault, and a WinRM service that goes away under an open session
// and comes back on the same port.
#include <gtest/gtest.h>

#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

void ExpectHandleStillConnects(Bench& bench) {
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_STREQ(bench.ErrorText(), "");
    EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
}

// A check on a handle whose connect failed says so instead of touching the network.
void ExpectSessionNotOpen(Bench& bench) {
    std::string list;
    EXPECT_EQ(bench.ServiceList(list), QNSNWSM_FAILURE);
    EXPECT_STREQ(bench.ErrorText(),
                 "WSMan session has not been opened yet, please check connection properties");
}

TEST(ConnectionFaultTest, UnreachableServiceFailsTheConnectInTimeAndTheHandleConnectsLater) {
    Bench bench;
    ASSERT_TRUE(bench.StartSim()) << bench.SimError();
    SilentListener silent;
    const struct {
        const char* host;
        std::uint16_t port;
        std::uint32_t code;
    } cases[] = {{"127.0.0.1", ClosedLoopbackPort(), 0x80338012},
                 {"qnsnwsm-no-such-host.invalid", 5985, 0x803381B9},
                 {"127.0.0.1", silent.Port(), 0x80338126}};
    for (const auto& unreachable : cases) {
        SCOPED_TRACE(std::string(unreachable.host) + ":" + std::to_string(unreachable.port));
        std::uint32_t result = QNSNWSM_OK;
        const auto took = Timed([&] { result = bench.Connect(unreachable.host, unreachable.port); });
        EXPECT_EQ(result, QNSNWSM_FAILURE);
        EXPECT_EQ(bench.ErrorText(), WinrmErrorText(unreachable.code));
        EXPECT_LT(took, kReturnsWithin);
        ExpectSessionNotOpen(bench);
    }
    ExpectHandleStillConnects(bench);
}

// The access check of the connect meets the fault: the connect fails with its text and closes the session;
// the next connect of the same handle succeeds.
TEST(ConnectionFaultTest, FailedValidationClosesTheSessionAndTheNextConnectSucceeds) {
    const struct {
        const char* effect;
        std::uint32_t code;
    } faults[] = {{"fault=AccessDenied", 0x80070005}, {"drop", 0x80338012}};
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.effect);
        Bench bench;
        ASSERT_TRUE(
            bench.StartSim({.faultRules = std::string("class=Win32_ComputerSystem times=1 ") + fault.effect}))
            << bench.SimError();
        EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
        EXPECT_EQ(bench.ErrorText(), WinrmErrorText(fault.code));
        ExpectSessionNotOpen(bench);
        ExpectHandleStillConnects(bench);
    }
}

// Over sealed traffic the restarted service knows nothing of the old security context, so the client must log
// on again on a new connection instead of sending a sealed body into the void.
TEST(ConnectionFaultTest, ServiceThatStopsAndReturnsOnTheSamePortIsReadAgainWithoutReconnecting) {
    for (const Transport transport : {Transport::BasicOverHttp, Transport::SealedNtlm}) {
        Bench bench(transport);
        ASSERT_TRUE(bench.StartSim()) << bench.SimError();
        ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
        const std::uint16_t port = bench.SimPort();
        bench.StopSim();

        if (transport == Transport::BasicOverHttp) {  // sealed: the first call after the restart is the point
            EXPECT_FALSE(bench.ReadsTheComputer());
            EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x80338012));
        }
        ASSERT_TRUE(bench.StartSim({.port = port})) << bench.SimError();
        EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
    }
}

// Basic over plain HTTP without AllowUnencrypted: the client refuses before it sends the credentials.
TEST(ConnectionFaultTest, BasicOverHttpIsRefusedUnlessAllowed) {
    Bench bench(Transport::Negotiate, "AuthScheme=Basic\n");
    ASSERT_TRUE(bench.StartSim()) << bench.SimError();
    EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x803380DE));
}

}  // namespace
}  // namespace qn::reliability
