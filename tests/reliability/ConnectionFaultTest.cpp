// Failures at the connect and of a service under an open session: an access check that meets a fault, a
// WinRM service that goes away and comes back on the same port, and Basic over plain HTTP. (Addresses where
// no WinRM service answers: HostileServerTest.)
#include <gtest/gtest.h>

#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

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
        ExpectHandleRecovers(bench);
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
