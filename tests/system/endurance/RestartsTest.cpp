// Starting again at once, with the old connections lingering on the daemon's side.

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>

#include "endurance/Endurance.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kHosts = 5;

// Connections of the local port that wait out their time after their end.
std::size_t lingering(std::uint16_t port) {
    constexpr char kTimeWait[] = "06";
    std::ostringstream suffix;
    suffix << ':' << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << port;
    std::ifstream table("/proc/self/net/tcp");
    std::size_t count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream columns(line);
        std::string number;
        std::string local;
        std::string remote;
        std::string state;
        columns >> number >> local >> remote >> state;
        if (local.ends_with(suffix.str()) && state == kTimeWait) ++count;
    }
    return count;
}

TEST(Restarts, EachListensAtOnceBesideLingeringConnections) {
    Gateway gateway(0, {}, {.waitUntilListening = false});
    gateway.start();
    Connection::connectEventually(gateway.daemon().port()).close();
    DaemonProcess& daemon = gateway.daemon();
    const std::size_t restarts = scaled(100, 10);
    double longest = 0;
    std::size_t fewest = SIZE_MAX;
    for (std::size_t i = 0; i < restarts; ++i) {
        std::vector<HostClient> hosts;
        for (std::size_t host = 0; host < kHosts; ++host) {
            hosts.push_back(gateway.host());
            expectVersion(hosts.back());
        }
        EXPECT_CLEAN_STOP(daemon);
        for (HostClient& host : hosts) EXPECT_TRUE(host.connection().closedByPeer());
        hosts.clear();
        fewest = std::min(fewest, lingering(daemon.port()));
        daemon.start();  // the sandbox is up, the program runs
        const Clock::time_point start = Clock::now();
        Connection::connectEventually(daemon.port()).close();
        const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
        longest = std::max(longest, taken.count());
        EXPECT_LT(taken, 1s * timeScale()) << "restart " << i;
    }
    HostClient host = gateway.host();
    expectVersion(host);
    EXPECT_GE(fewest, kHosts);
    EXPECT_EQ(0U, gateway.log().count("Cannot listen")) << gateway.log().dump();
    report("restarts", static_cast<double>(restarts), "");
    report("restart_longest", longest, "ms");
    report("restart_lingering_connections", static_cast<double>(fewest), "at least");
    EXPECT_CLEAN_STOP(daemon);
}

}  // namespace
}  // namespace teskd::test
