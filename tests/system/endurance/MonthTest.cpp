// A month of connections and requests in minutes.

#include <gtest/gtest.h>
#include <thread>

#include "endurance/Endurance.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMachines = 4;
constexpr std::size_t kAskers = 4;
constexpr std::size_t kAtOnce = 300;
constexpr std::size_t kTenths = 10;
constexpr std::size_t kPartOfShortForm = 50;
constexpr std::size_t kConnections = 10'000;
constexpr std::size_t kRequests = 100'000;

std::size_t perTenth(std::size_t full) {
    return std::max<std::size_t>(scaled(full, kPartOfShortForm) / kTenths, 1);
}

// The memory that the daemon keeps goes by how many threads it ever had side by side. So it has
// more of them at the beginning than hosts that come and go can leave behind in a hurry.
void connectManyAtOnce(Gateway& gateway) {
    std::vector<HostClient> hosts;
    for (std::size_t i = 0; i < kAtOnce; ++i) {
        hosts.push_back(gateway.host());
        expectVersion(hosts.back(), 30s);
    }
}

// Some of them end with a reset.
void connectAndLeave(Gateway& gateway, std::size_t times) {
    for (std::size_t i = 0; i < times; ++i) {
        HostClient host = gateway.host();
        expectVersion(host);
        if (i % 3 == 0) host.connection().reset();
    }
}

// One request in five goes to a machine, each time to another one.
void ask(Gateway& gateway, std::size_t requests) {
    HostClient host = gateway.host();
    for (std::uint32_t i = 0; i < requests; ++i) {
        if (i % 5 != 4) {
            expectVersion(host, 30s);
            continue;
        }
        host.request(1, named("\1", codeIdOf(1 + i / 5 % kMachines)), i, 1);
        const Frame answer = host.readFrame(30s);
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(i, answer.identifierA);
    }
}

void askSideBySide(Gateway& gateway, std::size_t requests) {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < kAskers; ++i) {
        threads.emplace_back([&] {
            try {
                ask(gateway, requests / kAskers);
            } catch (const std::exception& e) {
                ADD_FAILURE() << e.what();
            }
        });
    }
}

TEST(Month, DescriptorsThreadsAndMemoryAreFlat) {
    Gateway gateway(kMachines);
    gateway.startKnown();
    DaemonProcess& daemon = gateway.daemon();
    const auto settled = [&] { return daemon.threadCount() == idleThreads() + kMachines; };
    std::size_t descriptors = 0;
    std::size_t memory = 0;
    connectManyAtOnce(gateway);
    ASSERT_TRUE(eventually(settled, 30s)) << daemon.threadCount() << " threads";
    for (std::size_t tenth = 1; tenth <= kTenths; ++tenth) {
        connectAndLeave(gateway, perTenth(kConnections));
        askSideBySide(gateway, perTenth(kRequests));
        for (std::size_t n = 1; n <= kMachines; ++n) gateway.machine(n).journal().clear();
        gateway.log().clear();
        ASSERT_TRUE(eventually(settled, 30s)) << daemon.threadCount() << " threads";
        if (tenth != 1) continue;
        descriptors = daemon.openDescriptors();
        memory = daemon.residentKilobytes();
    }
    report("month_host_connections", static_cast<double>(perTenth(kConnections) * kTenths), "");
    report("month_requests", static_cast<double>(perTenth(kRequests) * kTenths), "");
    report("month_descriptors", static_cast<double>(daemon.openDescriptors()), "");
    report("month_memory_early", static_cast<double>(memory), "KiB");
    report("month_memory_late", static_cast<double>(daemon.residentKilobytes()), "KiB");
    EXPECT_TRUE(eventually([&] { return daemon.openDescriptors() <= descriptors; }))
        << daemon.openDescriptors() << " descriptors instead of " << descriptors;
    if (!kSanitized) {
        EXPECT_LE(daemon.residentKilobytes(), memory + kFlatKilobytes);
    }
    EXPECT_CLEAN_STOP(daemon);
}

}  // namespace
}  // namespace teskd::test
