// Prints what the daemon takes of the machine at rest: memory, threads, wake-ups, time to start.
//   footprint [seconds to watch it, default 60]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "footprint/ProcessCosts.h"
#include "gateway/Gateway.h"
#include "support/ChildProcess.h"

namespace teskd::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMachines = 4;
constexpr std::size_t kHosts = 100;
constexpr int kStarts = 10;

void print(const char* what, double value, const char* unit) {
    std::printf("%-52s %10.1f %s\n", what, value, unit);
}

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// From the start of the sandbox around the daemon until a host can connect; the shortest of some.
double startTime() {
    auto shortest = Clock::duration::max();
    for (int n = 0; n < kStarts; ++n) {
        DaemonProcess daemon(daemonOptions(), withoutMachines());
        const Clock::time_point begin = Clock::now();
        daemon.start();
        shortest = std::min(shortest, Clock::now() - begin);
        daemon.stop();
    }
    return milliseconds(shortest);
}

ProcessCosts costsOfIdleProgram() {
    ChildProcess idle({.command = {IDLE_PROGRAM}});
    if (!eventually([&] { return !idle.standardOutput().empty(); })) {
        throw std::runtime_error("the idle program does not start");
    }
    return costsOf(idle.pid());
}

void showHosts(Gateway& gateway, const ProcessCosts& before) {
    std::vector<HostClient> hosts;
    for (std::size_t n = 0; n < kHosts; ++n) {
        hosts.push_back(gateway.host());
        hosts.back().request(7, "");
        hosts.back().readFrame();
    }
    const ProcessCosts with = costsOf(gateway.daemon().pid());
    const double grown =
        static_cast<double>(with.residentKilobytes) - static_cast<double>(before.residentKilobytes);
    print("resident, for each host that is connected", grown / kHosts, "KiB");
}

void showFootprint(std::chrono::seconds watched) {
    print("from the sandbox's start to listening", startTime(), "ms");

    const ProcessCosts idle = costsOfIdleProgram();
    Gateway gateway(kMachines, Config().polling(0, 30));
    gateway.startKnown();
    eventually([&] { return gateway.daemon().threadCount() == idleThreads() + kMachines; });
    const ProcessCosts before = costsOf(gateway.daemon().pid());
    std::this_thread::sleep_for(watched);
    const ProcessCosts after = costsOf(gateway.daemon().pid());

    print("threads at rest, with 4 machines", static_cast<double>(after.waits.size()), "");
    print("wake-ups at rest",
          static_cast<double>(wakeUpsBetween(before, after)) / static_cast<double>(watched.count()),
          "a second");
    print("resident", static_cast<double>(after.residentKilobytes), "KiB");
    print("resident, a program that does nothing", static_cast<double>(idle.residentKilobytes),
          "KiB");
    print("proportional", static_cast<double>(after.proportionalKilobytes), "KiB");
    print("proportional, a program that does nothing",
          static_cast<double>(idle.proportionalKilobytes), "KiB");
    showHosts(gateway, after);
    gateway.daemon().stop();
}

}  // namespace
}  // namespace teskd::test

int main(int count, char** arguments) {
    try {
        const int seconds = count > 1 ? std::atoi(arguments[1]) : 60;
        teskd::test::showFootprint(std::chrono::seconds(std::max(1, seconds)));
        return EXIT_SUCCESS;
    } catch (const std::exception& e) {
        std::cerr << "footprint: " << e.what() << "\n";
        return EXIT_FAILURE;
    }
}
