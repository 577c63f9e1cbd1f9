// What the daemon does with the limits it is given, and at them.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <stop_token>
#include <thread>

#include "endurance/Endurance.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kPromptly = 2s;       // in which a host is turned away
constexpr double kUndelayed = 1000;  // ms, for an answer meanwhile
constexpr std::size_t kMostComplaints =
    8;  // lines in the log: four in the first minute and the next
const std::size_t kWithHost = idleThreads() + 1;

rlimit descriptorLimit(pid_t pid) {
    rlimit limit{};
    EXPECT_EQ(0, ::prlimit(pid, RLIMIT_NOFILE, nullptr, &limit));
    return limit;
}

TEST(Limits, TheDaemonRaisesItsDescriptorLimitToTheHighestAllowed) {
    Gateway gateway;
    {
        const Limit low(0, RLIMIT_NOFILE, 256);
        gateway.start();
    }
    const rlimit limit = descriptorLimit(gateway.daemon().pid());
    EXPECT_EQ(descriptorLimit(0).rlim_max, limit.rlim_max);
    EXPECT_EQ(limit.rlim_max, limit.rlim_cur);
    report("descriptor_limit", static_cast<double>(limit.rlim_cur), "descriptors");
    HostClient host = gateway.host();
    expectVersion(host);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// A host that asks all the time, on a thread of its own, and how long it waited for an answer at
// the most.
class Asking {
  public:
    explicit Asking(Gateway& gateway)
        : host_(gateway.host()), thread_([this](const std::stop_token& end) { ask(end); }) {
        EXPECT_TRUE(eventually([this] { return answers() > 0; }));
    }

    std::size_t answers() const { return answers_; }
    // Ends it. A failed answer counts as the longest wait there is.
    double longestMilliseconds() {
        thread_.request_stop();
        thread_.join();
        return longest_;
    }

  private:
    void ask(const std::stop_token& end) {
        using Clock = std::chrono::steady_clock;
        try {
            while (!end.stop_requested()) {
                const Clock::time_point start = Clock::now();
                host_.request(7, "", 0, 9);
                host_.readFrame();
                const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
                longest_ = std::max(longest_, taken.count());
                ++answers_;
            }
        } catch (const std::exception& e) {
            ADD_FAILURE() << e.what();
            longest_ = std::numeric_limits<double>::infinity();
        }
    }

    HostClient host_;
    std::atomic<std::size_t> answers_ = 0;
    double longest_ = 0;  // the thread's own until it has ended
    std::jthread thread_;
};

// Has many hosts knock, one after the other, each of which must find its connection closed.
void expectTurnedAway(Gateway& gateway, std::size_t hosts, const std::string& name) {
    using Clock = std::chrono::steady_clock;
    double longest = 0;
    for (std::size_t i = 0; i < hosts; ++i) {
        const Clock::time_point start = Clock::now();
        HostClient host = gateway.host();
        ASSERT_TRUE(host.connection().closedByPeer(kPromptly))
            << "host " << i << " is left hanging";
        const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
        longest = std::max(longest, taken.count());
    }
    report(name + "_turned_away", static_cast<double>(hosts), "hosts");
    report(name + "_longest_turning_away", longest, "ms");
}

void expectUndisturbed(Asking& asking, const std::string& name) {
    const std::size_t before = asking.answers();
    EXPECT_TRUE(eventually([&] { return asking.answers() >= before + 3; }));
    const double longest = asking.longestMilliseconds();
    report(name + "_longest_answer_meanwhile", longest, "ms");
    EXPECT_LT(longest, kUndelayed * timeScale());
}

std::size_t complaints(Gateway& gateway) {
    return gateway.log().count("Cannot accept a connection") +
           gateway.log().count("Cannot start a thread for a connection");
}

// Hosts knock while the daemon is at a limit, with one host connected and another asking. Then the
// limit is lifted.
void expectTurnedAwayAt(__rlimit_resource which, const std::function<rlim_t(pid_t)>& value,
                        const std::string& name, const std::string& complaint) {
    Gateway gateway(1);
    gateway.startKnown();
    // A thread that ends later would leave its stack to the first host that is to be turned away.
    ASSERT_TRUE(gateway.log().waitFor("Thread 'Timer: Telnet Internal Timer' Terminated"));
    DaemonProcess& daemon = gateway.daemon();
    HostClient idle = gateway.host();
    expectVersion(idle);
    Asking asking(gateway);
    const double before = processorSeconds(daemon.pid());
    {
        const Limit limit(daemon.pid(), which, value(daemon.pid()));
        expectTurnedAway(gateway, scaled(1000, 20), name);
        expectVersion(idle);
    }
    report(name + "_processor_time", processorSeconds(daemon.pid()) - before, "s");
    expectUndisturbed(asking, name);
    const auto line = gateway.log().waitFor(complaint);
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(180, line->priority);
    EXPECT_LE(complaints(gateway), kMostComplaints);
    HostClient later = gateway.host();
    expectVersion(later);
    EXPECT_CLEAN_STOP(daemon);
}

TEST(Limits, WithoutDescriptorsHostsAreTurnedAwayAndTheConnectedOnesAreNotDisturbed) {
    expectTurnedAwayAt(RLIMIT_NOFILE, lowestFreeDescriptor, "descriptors",
                       "Cannot accept a connection");
}

TEST(Limits, WhenHostsLeaveThereIsRoomForOthers) {
    Gateway gateway;
    gateway.start();
    DaemonProcess& daemon = gateway.daemon();
    HostClient first = gateway.host();
    expectVersion(first);
    const Limit few(daemon.pid(), RLIMIT_NOFILE, lowestFreeDescriptor(daemon.pid()) + 60);
    std::vector<HostClient> hosts;
    for (bool room = true; room;) {
        HostClient host = gateway.host();
        room = isServed(host);
        if (room) hosts.push_back(std::move(host));
        ASSERT_LT(hosts.size(), 60U);
    }
    report("hosts_with_sixty_descriptors", static_cast<double>(hosts.size()), "hosts");
    EXPECT_GE(hosts.size(), 5U);
    for (int round = 0; round < 10; ++round) {
        hosts.pop_back();
        ASSERT_TRUE(eventually([&] { return daemon.threadCount() == kWithHost + hosts.size(); }));
        hosts.push_back(gateway.host());
        EXPECT_TRUE(isServed(hosts.back())) << "round " << round;
    }
    for (HostClient& host : hosts) expectVersion(host);
    expectVersion(first);
    EXPECT_CLEAN_STOP(daemon);
}

// Sanitizers need more address space than any limit leaves them.
#ifndef TESKD_SANITIZED

TEST(Limits, WithoutThreadsHostsAreTurnedAwayAndTheConnectedOnesAreNotDisturbed) {
    const auto noneLeft = [](pid_t pid) { return (virtualKilobytes(pid) + 128) * 1024; };
    expectTurnedAwayAt(RLIMIT_AS, noneLeft, "threads", "Cannot start a thread for a connection");
}

#endif

}  // namespace
}  // namespace teskd::test
