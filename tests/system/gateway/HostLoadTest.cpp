// Many hosts, and the memory they leave behind.

#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

void expectVersion(HostClient& host) {
    host.request(7, "", 0, 9);
    EXPECT_EQ(9U, host.readFrame().identifierB);
}

TEST(HostLoad, FiftyHostsAtOnceGetTheirOwnAnswers) {
    Gateway gateway(4);
    gateway.startKnown();
    std::vector<HostClient> hosts;
    for (int i = 0; i < 50; ++i) hosts.push_back(gateway.host());
    for (std::uint32_t i = 0; i < 50; ++i) {
        hosts[i].request(1, std::string(1, '\0'), i, 1);
        hosts[i].request(7, "", i, 2);
    }
    for (std::uint32_t i = 0; i < 50; ++i) {
        int versions = 0;
        for (int frames = 0; frames < 5; ++frames) {
            const Frame answer = hosts[i].readFrame(30s);
            EXPECT_EQ(0x81, answer.kind);
            EXPECT_EQ(i, answer.identifierA);
            EXPECT_TRUE(answer.checksumOk);
            versions += answer.type == 7 ? 1 : 0;
        }
        EXPECT_EQ(1, versions);
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(HostLoad, HundredsOfHostsThatComeAndGoLeaveNothingBehind) {
    Gateway gateway;
    gateway.startKnown();  // the links to the machines are there from now on
    DaemonProcess& daemon = gateway.daemon();
    const auto round = [&](int hosts) {
        for (int i = 0; i < hosts; ++i) {
            HostClient host = gateway.host();
            expectVersion(host);
            if (i % 3 == 0) host.connection().reset();
        }
    };
    round(20);
    const auto settled = [&] { return daemon.threadCount() <= idleThreads(); };
    ASSERT_TRUE(eventually(settled)) << daemon.threadCount();
    const std::size_t descriptors = daemon.openDescriptors();
    const std::size_t memory = daemon.residentKilobytes();
    round(600);
    ASSERT_TRUE(eventually(settled)) << daemon.threadCount();
    EXPECT_TRUE(eventually([&] { return daemon.openDescriptors() <= descriptors; }))
        << daemon.openDescriptors() << " in place of " << descriptors;
    if (memoryShows()) {
        EXPECT_LT(daemon.residentKilobytes(), memory + 16 * 1024);
    }
    EXPECT_CLEAN_STOP(daemon);
}

#ifndef TESKD_SANITIZED  // a sanitizer keeps memory that was freed

TEST(HostLoad, HostsThatHaveGoneLeaveNoMemoryBehindWhileOneStays) {
    Gateway gateway;
    gateway.startKnown();
    DaemonProcess& daemon = gateway.daemon();
    HostClient stays = gateway.host();
    expectVersion(stays);
    const std::size_t memory = daemon.residentKilobytes();
    {
        std::vector<HostClient> hosts;
        for (int i = 0; i < 200; ++i) {
            hosts.push_back(gateway.host());
            expectVersion(hosts.back());
        }
    }
    const auto isBack = [&] { return daemon.residentKilobytes() <= memory + 512; };
    EXPECT_TRUE(!memoryShows() || eventually(isBack, 30s))
        << daemon.residentKilobytes() << " kB in place of " << memory;
    expectVersion(stays);
    EXPECT_CLEAN_STOP(daemon);
}

// A question, and behind it megabytes of messages that a machine does not answer.
std::string largeMessage() {
    std::string result = "113~0009~";
    for (int i = 0; i < 256; ++i) result += "150~8000~" + std::string(0x8000 - 9, 'x');
    return result;
}

TEST(HostLoad, LargeRequestsToMachinesLeaveNoMemoryBehind) {
    Gateway gateway(2);
    gateway.startKnown();
    HostClient host = gateway.host();
    expectVersion(host);
    const std::size_t memory = gateway.daemon().residentKilobytes();
    for (std::size_t n = 1; n <= 2; ++n) {
        host.request(6, named("", codeIdOf(n), bytes("00 00 00 00") + largeMessage()));
        EXPECT_EQ(0x81, host.readFrame(30s).kind);
    }
    const auto isBack = [&] { return gateway.daemon().residentKilobytes() < memory + 4 * 1024; };
    EXPECT_TRUE(!memoryShows() || eventually(isBack))
        << gateway.daemon().residentKilobytes() << " kB in place of " << memory;
    EXPECT_CLEAN_STOP(gateway.daemon());
}

#endif

}  // namespace
}  // namespace teskd::test
