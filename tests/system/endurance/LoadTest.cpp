// A thousand hosts at once.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "core/Thread.h"
#include "endurance/Endurance.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// A sanitizer's stacks and red zones make a connection several times as large, and its slowness
// turns a thousand of them into minutes; what it looks for shows with fewer.
constexpr std::size_t kHosts = kSanitized ? 200 : 1000;
constexpr std::size_t kAsking = 50;
constexpr rlim_t kDescriptorsNeeded = 8192;  // four for each connection in the daemon
constexpr double kMostKilobytesPerIdleHost = 64;
constexpr std::size_t kMostKilobytesAfterwards = 512;
constexpr std::size_t kMostAddressSpace = 512UL * 1024 * 1024;

class Load : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(allowDescriptors(kDescriptorsNeeded))
            << "The hard limit of open files (ulimit -Hn) must be at least " << kDescriptorsNeeded;
        gateway_.startKnown();
        HostClient first = gateway_.host();  // what is made once is made now
        expectVersion(first);
        first.close();
        ASSERT_TRUE(gateway_.log().waitFor("Thread 'Dorn' Terminated"));
        // The engine's first pass may still have a thread in the making.
        ASSERT_TRUE(eventually([&] { return daemon().threadCount() == idleThreads() + 4; }))
            << daemon().threadCount();
    }

    DaemonProcess& daemon() { return gateway_.daemon(); }
    Gateway& gateway() { return gateway_; }

    std::vector<HostClient> connect(std::size_t count) {
        std::vector<HostClient> hosts;
        for (std::size_t i = 0; i < count; ++i) {
            hosts.push_back(gateway_.host());
            expectVersion(hosts.back(), 30s);
        }
        return hosts;
    }

  private:
    Gateway gateway_{4};
};

// Every fourth request goes to a machine, each time to another one.
void ask(HostClient& host, std::size_t requests) {
    for (std::uint32_t i = 0; i < requests; ++i) {
        const bool toMachine = i % 4 == 3;
        if (toMachine) {
            host.request(1, named("\1", codeIdOf(1 + i / 4 % 4)), i, 1);
        } else {
            host.request(7, "", i, 1);
        }
        const Frame answer = host.readFrame(60s);
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(toMachine ? 1 : 7, answer.type);
        EXPECT_EQ(i, answer.identifierA);
        EXPECT_TRUE(answer.checksumOk);
    }
}

void askSideBySide(std::vector<HostClient>& hosts, std::size_t requests) {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < kAsking; ++i) {
        HostClient& host = hosts[i * hosts.size() / kAsking];
        threads.emplace_back([&host, requests] {
            try {
                ask(host, requests);
            } catch (const std::exception& e) {
                ADD_FAILURE() << e.what();
            }
        });
    }
}

int highestDescriptor(pid_t pid) {
    int highest = -1;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd")) {
        highest = std::max(highest, std::stoi(entry.path().filename().string()));
    }
    return highest;
}

// Writable mappings as large as a thread's stack. The page that guards each keeps them apart.
std::size_t stackMappings(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(file, line);) {
        unsigned long from = 0;
        unsigned long to = 0;
        char rights[5]{};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, rights) != 3) continue;
        if (to - from == Thread::STACK_SIZE && std::string(rights) == "rw-p") ++count;
    }
    return count;
}

TEST_F(Load, ManyHostsAtOnceAreAllServedAndLeaveNothingBehind) {
    const std::size_t threads = daemon().threadCount();
    const std::size_t descriptors = daemon().openDescriptors();
    const std::size_t memory = daemon().residentKilobytes();

    std::vector<HostClient> hosts = connect(kHosts);
    EXPECT_EQ(threads + kHosts, daemon().threadCount());
    const double perHost =
        (static_cast<double>(daemon().residentKilobytes()) - static_cast<double>(memory)) /
        static_cast<double>(kHosts);
    report("hosts_at_once", static_cast<double>(kHosts), "connections");
    report("memory_without_hosts", static_cast<double>(memory), "KiB");
    report("memory_per_idle_host", perHost, "KiB");
    report("highest_descriptor", highestDescriptor(daemon().pid()), "");
    if (!kSanitized) {
        EXPECT_LE(perHost, kMostKilobytesPerIdleHost);
        EXPECT_GT(highestDescriptor(daemon().pid()), 1024);
    }

    const auto start = std::chrono::steady_clock::now();
    const std::size_t requests = scaled(2000, 50);
    askSideBySide(hosts, requests);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    report("requests_per_second", static_cast<double>(requests * kAsking) / taken.count(), "1/s");
    for (HostClient& host : hosts) expectVersion(host, 30s);

    hosts.clear();
    ASSERT_TRUE(eventually([&] { return daemon().threadCount() == threads; }, 30s))
        << daemon().threadCount();
    EXPECT_TRUE(eventually([&] { return daemon().openDescriptors() <= descriptors; }))
        << daemon().openDescriptors() << " instead of " << descriptors;
    const auto isBack = [&] {
        return daemon().residentKilobytes() <= memory + kMostKilobytesAfterwards;
    };
    EXPECT_TRUE(kSanitized || eventually(isBack, 30s));
    report("memory_afterwards", static_cast<double>(daemon().residentKilobytes()), "KiB");
    EXPECT_CLEAN_STOP(daemon());
}

TEST_F(Load, TheStacksOfManyConnectionsFitASmallAddressSpace) {
    const std::size_t before = stackMappings(daemon().pid());
    const std::vector<HostClient> hosts = connect(kHosts);
    // A few may touch other memory of the kind and look larger.
    const std::size_t stacks = stackMappings(daemon().pid()) - before;
    EXPECT_GE(stacks, kHosts - kHosts / 50);
    EXPECT_LE(stacks, kHosts);
    const std::size_t space = kHosts * Thread::STACK_SIZE;
    report("stack_of_a_connection", static_cast<double>(Thread::STACK_SIZE) / 1024, "KiB");
    report("stacks_address_space", static_cast<double>(space) / (1024 * 1024), "MiB");
    EXPECT_LT(space, kMostAddressSpace);
    EXPECT_CLEAN_STOP(daemon());
}

}  // namespace
}  // namespace teskd::test
