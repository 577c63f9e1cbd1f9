// Starting again, and listening where somebody else still does.

#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Listener.h"
#include "support/ProcInfo.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

void expectVersion(HostClient& host) {
    host.request(7, "");
    EXPECT_EQ(30U, host.readFrame().body.size());
}

// The old connections end on the daemon's side first, so they stay in TIME_WAIT there.
TEST(Restart, ListensAtOnceWhereOldConnectionsLinger) {
    Gateway gateway(1);
    gateway.startKnown();
    const std::uint16_t port = gateway.daemon().port();
    for (int round = 0; round < 3; ++round) {
        std::vector<HostClient> hosts;
        for (int i = 0; i < 20; ++i) {
            hosts.push_back(gateway.host());
            expectVersion(hosts.back());
        }
        EXPECT_CLEAN_STOP(gateway.daemon());
        for (HostClient& host : hosts) EXPECT_TRUE(host.connection().closedByPeer());
        gateway.daemon().start(20s);  // they linger for a minute
        EXPECT_EQ(port, gateway.daemon().port());
        HostClient host = gateway.host();
        expectVersion(host);
    }
    EXPECT_EQ(0U, gateway.log().count("Cannot listen")) << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Restart, AfterAKillTheMachinesAreServedAgain) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.daemon().terminate(SIGKILL);
    ASSERT_TRUE(gateway.daemon().waitForExit().has_value());
    gateway.daemon().start();
    gateway.awaitKnown(2);
    HostClient host = gateway.host();
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Restart, AnAddressInUseIsTriedAgainUntilItIsFree) {
    Listener other;
    Config config;
    config.tcpLocal(other.port());
    Gateway gateway(0, config, {.waitUntilListening = false});
    gateway.start();
    const auto line = gateway.log().waitFor("Cannot listen on");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(180, line->priority);
    other.close();
    const auto listens = [&] { return !listeningPorts(gateway.daemon().pid()).empty(); };
    ASSERT_TRUE(eventually(listens));
    HostClient host(gateway.daemon().port());
    expectVersion(host);
    EXPECT_EQ(1U, gateway.log().count("Cannot listen on"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Restart, StopsWhileAnAddressIsInUse) {
    Listener other;
    Config config;
    config.tcpLocal(other.port());
    Gateway gateway(0, config, {.waitUntilListening = false});
    gateway.start();
    ASSERT_TRUE(gateway.log().waitFor("Cannot listen on"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Restart, SeveralEndpointsAreServedAtOnce) {
    Config config;
    const ReservedPort reserved[2];
    const std::uint16_t first = reserved[0].number();
    const std::uint16_t second = reserved[1].number();
    config.set("IP_ADDRESS", "IP_LOCAL", "127.0.0.1 127.0.0.2, 127.0.0.1;127.0.0.3");
    config.set("IP_ADDRESS", "TCP_LOCAL",
               std::to_string(first) + "," + std::to_string(first) + " " + std::to_string(second));
    Gateway gateway(0, config, {.waitUntilListening = false});
    gateway.start();
    const auto listens = [&] { return listeningPorts(gateway.daemon().pid()).size() >= 4; };
    ASSERT_TRUE(eventually(listens)) << gateway.log().dump();
    HostClient atFirst(first);
    HostClient atSecond(second);
    expectVersion(atFirst);
    expectVersion(atSecond);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Restart, WithoutAnEndpointTheMachinesAreStillPolled) {
    Config config;
    config.set("IP_ADDRESS", "IP_LOCAL", ",");
    Gateway gateway(1, config, {.waitUntilListening = false});
    gateway.start();
    gateway.awaitKnown();
    EXPECT_TRUE(listeningPorts(gateway.daemon().pid()).empty());
    EXPECT_TRUE(gateway.log().waitFor("Thread 'DornDeamon' Terminated"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Restart, NotificationsAreNumberedFromOneAgain) {
    Gateway gateway;
    gateway.start();
    EXPECT_LE(Notifications(gateway.server()).take(2).identifierB, 2U);
    EXPECT_CLEAN_STOP(gateway.daemon());
    while (gateway.server().receiveWithin(0ms)) {
    }
    gateway.daemon().start();
    EXPECT_LE(Notifications(gateway.server()).take(2).identifierB, 2U);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
