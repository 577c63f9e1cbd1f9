// A machine with little memory: hosts hold less of it, and fewer are served.

#include <exception>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <string>
#include <vector>

#include "gateway/Gateway.h"
#include "gateway/UnfinishedHosts.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

void expectVersion(HostClient& host) {
    host.request(7, "", 0, 9);
    EXPECT_EQ(9U, host.readFrame(30s).identifierB);
}

class LittleMemory : public testing::Test {
  protected:
    void startWith(const std::string& kilobytes) {
        std::filesystem::create_directories(gateway_.daemon().root() / "proc");
        writeFile(gateway_.daemon().root() / "proc/meminfo",
                  "MemTotal: 27012 kB\nMemAvailable: " + kilobytes + " kB\n");
        gateway_.start();
    }
    // Whether one more host is answered, in place of turned away.
    bool servesAnother() {
        try {
            HostClient host = gateway_.host();
            host.request(7, "", 0, 9);
            return host.readFrame(30s).identifierB == 9;
        } catch (const std::exception&) {
            return false;
        }
    }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    Gateway gateway_{0};
};

TEST_F(LittleMemory, IsToldInTheLog) {
    startWith("19456");
    const auto line = gateway_.log().waitFor(
        "Little memory: 1216 kB for requests of hosts, as much for answers, 95 hosts at most");
    ASSERT_TRUE(line.has_value()) << gateway_.log().dump();
    EXPECT_EQ(181, line->priority);
}

TEST(LittleMemoryAndFewDescriptors, TheLogTellsHowManyHostsAreServedWithBoth) {
    DaemonProcess::Options options;
    options.disk.before = "ulimit -n 80";
    Gateway gateway(0, {}, options);
    std::filesystem::create_directories(gateway.daemon().root() / "proc");
    writeFile(gateway.daemon().root() / "proc/meminfo", "MemAvailable: 19456 kB\n");
    gateway.start();
    EXPECT_TRUE(gateway.log().waitFor(
        "Little memory: 1216 kB for requests of hosts, as much for answers, 12 hosts at most"))
        << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST_F(LittleMemory, BoundsTheNumberOfHosts) {
    startWith("512");
    std::vector<HostClient> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.push_back(gateway_.host());
        expectVersion(hosts.back());
    }
    HostClient turnedAway = gateway_.host();
    EXPECT_TRUE(turnedAway.connection().closedByPeer());
    EXPECT_TRUE(gateway_.log().waitFor("Cannot accept a connection: Too many hosts are connected"));
    hosts.pop_back();
    EXPECT_TRUE(eventually([this] { return servesAnother(); }));
}

#ifndef TESKD_SANITIZED  // a sanitizer's own memory is a multiple of it

TEST_F(LittleMemory, IsNotFilledByUnfinishedBodies) {
    startWith("8192");
    HostClient first = gateway_.host();
    expectVersion(first);
    const std::size_t before = gateway_.daemon().residentKilobytes();
    Frame frame{.type = 7, .body = std::string(1'040'000, 'x')};
    const std::string unfinished = frame.encode().substr(0, 1'000'000);
    const std::vector<HostClient> hosts = connectUnfinished(gateway_, 12, unfinished);
    expectVersion(first);
    const std::size_t after = gateway_.daemon().residentKilobytes();
    std::cout << "12 unfinished bodies of 1 MB: " << after - before << " kB more\n";
    if (memoryShows()) {
        EXPECT_LE(after, before + 3072);
    }
}

#endif

}  // namespace
}  // namespace teskd::test
