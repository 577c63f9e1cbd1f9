// Whoever fails, the others do not wait: what machines and hosts in trouble cost everybody else.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Times = std::vector<std::chrono::microseconds>;

constexpr std::size_t kAlive[] = {1, 2};
constexpr std::size_t kSilent = 3;
constexpr std::size_t kGone = 4;

std::string requestFor(std::size_t machine) {
    return named("\1", codeIdOf(machine));
}

// Asks one machine again and again, each time when the last answer is there. The times taken.
Times ask(std::uint16_t port, std::size_t machine, const std::function<bool(std::size_t)>& goesOn) {
    HostClient host(port);
    Times times;
    while (goesOn(times.size())) {
        const auto start = Clock::now();
        host.request(1, requestFor(machine), static_cast<std::uint32_t>(times.size()), 1);
        const Frame answer = host.readFrame();
        times.push_back(
            std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start));
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(times.size() - 1, answer.identifierA);
    }
    return times;
}

// Both machines that work, asked at the same time.
Times askTheLiving(std::uint16_t port, std::size_t requests) {
    std::vector<Times> times(std::size(kAlive));
    {
        std::vector<std::jthread> askers;
        for (std::size_t i = 0; i < std::size(kAlive); ++i) {
            askers.emplace_back([&times, port, requests, i] {
                times[i] = ask(port, kAlive[i], [requests](std::size_t n) { return n < requests; });
            });
        }
    }
    for (const Times& more : std::vector<Times>(times.begin() + 1, times.end())) {
        times.front().insert(times.front().end(), more.begin(), more.end());
    }
    return times.front();
}

std::chrono::microseconds percentile99(Times times) {
    const auto at = times.begin() + static_cast<std::ptrdiff_t>(times.size() * 99 / 100);
    std::nth_element(times.begin(), at, times.end());
    return *at;
}

TEST(Isolation, DeadMachinesCostTheOthersNothing) {
    Gateway gateway(4);
    gateway.startKnown();
    const std::uint16_t port = gateway.daemon().port();
    constexpr std::size_t kRequests = 1000;
    askTheLiving(port, kRequests / 10);
    const auto before = percentile99(askTheLiving(port, kRequests));

    gateway.machine(kSilent).setFaults({.silent = true});
    gateway.machine(kGone).stop();
    std::vector<HostClient> waiting;
    for (int i = 0; i < 3; ++i) {
        waiting.emplace_back(port).request(1, requestFor(kSilent));
        waiting.emplace_back(port).request(1, requestFor(kGone));
    }
    const auto after = percentile99(askTheLiving(port, kRequests));
    std::cout << "p99 of two machines: " << before.count()
              << " us; beside a silent one and one that "
              << "refuses connections: " << after.count() << " us\n";
    EXPECT_LE(after, 3 * before + 20ms);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// A host that asks for large answers and reads none of them: more bytes than the system holds for
// it.
HostClient deafHost(std::uint16_t port) {
    HostClient host(port);
    for (std::uint32_t i = 0; i < 250; ++i) {
        host.request(6, named("", codeIdOf(1), std::string(4, '\0') + "120~0008"), 0, i);
    }
    return host;
}

TEST(Isolation, HostsAndMachinesThatHangCostNobodyElseTwoSeconds) {
    Gateway gateway(4);
    gateway.machine(1).answers().setBody(120, std::string(60000, 'x'));
    gateway.startKnown();
    const std::uint16_t port = gateway.daemon().port();
    std::atomic<bool> over{false};
    Times times;
    {
        std::jthread asker([&] { times = ask(port, 2, [&](std::size_t) { return !over; }); });
        gateway.machine(kSilent).setFaults({.dribble = 100ms});
        gateway.machine(kGone).setFaults({.deaf = true});
        std::vector<HostClient> hanging;
        for (int i = 0; i < 50; ++i)
            hanging.emplace_back(port).sendRaw(i % 2 == 0 ? "" : bytes("FF 81 00"));
        hanging.emplace_back(port).request(1, requestFor(kSilent));
        hanging.emplace_back(port).request(1, requestFor(kGone));
        std::vector<HostClient> deaf;
        for (int i = 0; i < 3; ++i) deaf.push_back(deafHost(port));
        std::this_thread::sleep_for(4s);  // what is measured
        over = true;
    }
    const auto slow =
        std::count_if(times.begin(), times.end(), [](auto time) { return time > 1s; });
    std::cout << times.size() << " answers beside hanging hosts and machines, p99 "
              << percentile99(times).count() << " us, longest "
              << std::max_element(times.begin(), times.end())->count() << " us\n";
    EXPECT_LE(*std::max_element(times.begin(), times.end()), 2s);
    EXPECT_LE(slow, 1);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
