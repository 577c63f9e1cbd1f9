// The daemon serves whatever becomes of its log.

#include <chrono>
#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

void expectServed(Gateway& gateway, std::uint32_t requests) {
    HostClient host = gateway.host();
    for (std::uint32_t i = 0; i < requests; ++i) {
        host.request(7, "", i, 1);
        EXPECT_EQ(0x81, host.readFrame().kind);
        host.request(1, bytes("00"), i, 2);
        EXPECT_EQ(0x81, host.readFrame().kind);
    }
}

TEST(LogTrouble, WithoutALogTheDaemonStartsServesAndStops) {
    Gateway gateway(1, {}, {.withLog = false});
    gateway.startKnown();
    expectServed(gateway, 50);
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_TRUE(gateway.log().lines().empty());
}

TEST(LogTrouble, AFullLogKeepsTheDaemonFromNothing) {
    Gateway gateway(1);
    gateway.log().pause();
    gateway.startKnown();
    expectServed(gateway, 50);
    gateway.log().resume();
    expectServed(gateway, 1);
    EXPECT_TRUE(gateway.log().waitFor(" lines were lost: the system log took none"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(LogTrouble, AFullLogDoesNotDelayTheStop) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.log().pause();
    expectServed(gateway, 20);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

}  // namespace
}  // namespace teskd::test
