// SIGTERM at any moment, under load: status 0, in time, again and again.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "endurance/Endurance.h"
#include "gateway/Gateway.h"
#include "support/ProcInfo.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::size_t kSideBySide = kSanitized ? 2 : 4;  // a sanitizer computes most of the time
constexpr unsigned kSeed = 47;
constexpr auto kLongest = 2500ms;
constexpr std::size_t kLongConfiguration = 900'000;
constexpr auto kPatienceForOneFrame = 50ms;
constexpr auto kBetweenRequests = 2ms;  // side by side they keep the processors busy enough

// When the signal comes: so long after the daemon blocks it, or after it listens.
struct Moment {
    bool listening = false;
    std::chrono::microseconds delay{0};
};

Moment momentOf(std::size_t round) {
    std::mt19937 random(kSeed + static_cast<unsigned>(round));
    if (round % 3 == 0) return {false, std::chrono::microseconds(random() % 30'000)};
    return {true, std::chrono::microseconds(random() % 1'000'000)};
}

// Hosts that ask for everything for as long as the daemon lets them.
class Hosts {
  public:
    explicit Hosts(std::uint16_t port) {
        for (int i = 0; i < 3; ++i) {
            threads_.emplace_back([port](const std::stop_token& end) { ask(port, end); });
        }
    }

  private:
    static void ask(std::uint16_t port, const std::stop_token& end) {
        while (!end.stop_requested()) {
            try {
                HostClient host(port);
                while (!end.stop_requested()) {
                    host.request(1, std::string(1, '\0'));
                    host.request(7, "");
                    host.readFrameWithin(kPatienceForOneFrame);
                    std::this_thread::sleep_for(kBetweenRequests);
                }
            } catch (const std::exception&) {
                std::this_thread::sleep_for(1ms);  // not there yet, or gone
            }
        }
    }

    std::vector<std::jthread> threads_;
};

// Whether the process's main thread keeps the signal waiting.
bool holdsTermination(pid_t pid) {
    const std::string key = "SigBlk:\t";
    const std::string status = readFile("/proc/" + std::to_string(pid) + "/status");
    const std::size_t at = status.find(key);
    if (at == std::string::npos) return false;
    const auto blocked = std::stoull(status.substr(at + key.size(), 16), nullptr, 16);
    return (blocked >> (SIGTERM - 1) & 1U) != 0;
}

void await(DaemonProcess& daemon, const Moment& moment) {
    // Once it listens, its main thread waits for the signal, which does not show as blocked then.
    const auto reached = [&] {
        return (!moment.listening && holdsTermination(daemon.pid())) ||
               !listeningPorts(daemon.pid()).empty();
    };
    if (!eventually(reached)) throw Timeout("the daemon does not start");
    const auto until = Clock::now() + moment.delay;
    while (Clock::now() < until) std::this_thread::sleep_for(50us);
}

// How long the daemon takes to end after the signal.
Milliseconds runOnce(std::size_t round) {
    Gateway gateway(3, {}, {.waitUntilListening = false});
    gateway.machine(2).setFaults({.silent = true});
    gateway.machine(3).setFaults({.refuse = true});
    gateway.start();
    DaemonProcess& daemon = gateway.daemon();
    const Hosts hosts(daemon.port());
    await(daemon, momentOf(round));

    const Clock::time_point start = Clock::now();
    daemon.terminate();
    const auto status = daemon.waitForExit();
    const Milliseconds taken = Clock::now() - start;
    if (!status) throw Timeout("the daemon does not end:\n" + daemon.standardError());
    EXPECT_TRUE(status->ok()) << "round " << round << ": " << status->describe() << "\n"
                              << daemon.standardError();
    EXPECT_EQ("", daemon.sanitizerReport()) << "round " << round;
    EXPECT_LT(taken, kLongest * timeScale()) << "round " << round;
    return taken;
}

// The times of all rounds, in order of length.
std::vector<double> runAll(std::size_t rounds) {
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::vector<double> times;  // guarded by mutex
    std::vector<std::jthread> lanes;
    for (std::size_t lane = 0; lane < kSideBySide; ++lane) {
        lanes.emplace_back([&] {
            for (std::size_t round = next++; round < rounds; round = next++) {
                try {
                    const double time = runOnce(round).count();
                    const std::lock_guard lock(mutex);
                    times.push_back(time);
                } catch (const std::exception& e) {
                    ADD_FAILURE() << "round " << round << ": " << e.what();
                }
            }
        });
    }
    lanes.clear();
    std::sort(times.begin(), times.end());
    return times;
}

TEST(ShutdownStorm, EverySignalAtWhateverMomentEndsTheDaemonOrderly) {
    const std::size_t rounds = scaled(300, 15);
    const std::vector<double> times = runAll(rounds);
    ASSERT_EQ(rounds, times.size());
    report("shutdowns", static_cast<double>(rounds), "");
    report("shutdown_median", times[times.size() / 2], "ms");
    report("shutdown_longest", times.back(), "ms");
}

// The configuration is read, and written down again, before main begins.
TEST(ShutdownStorm, ASignalWhileTheConfigurationIsReadEndsTheDaemonOrderly) {
    std::string settings;
    while (settings.size() < kLongConfiguration) {
        settings += "KEY_" + std::to_string(settings.size()) + "=value\n";
    }
    const auto cameInTime = [&] {
        Gateway gateway(0, {}, {.waitUntilListening = false});
        DaemonProcess& daemon = gateway.daemon();
        writeFile(daemon.root() / "config/config.ini", settings);
        gateway.start();
        await(daemon, {});
        daemon.terminate();
        const bool inTime = !std::filesystem::exists(daemon.root() / "tmp/dump_map.ini");
        const auto status = daemon.waitForExit();
        EXPECT_TRUE(status && status->ok()) << (status ? status->describe() : "does not end");
        return inTime;
    };
    EXPECT_TRUE(eventually(cameInTime, 60s));
}

}  // namespace
}  // namespace teskd::test
