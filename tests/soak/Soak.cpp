#include "soak/Soak.h"

#include <algorithm>
#include <iostream>

#include "gateway/Gateway.h"
#include "soak/Violation.h"
#include "support/Deadline.h"

namespace teskd::soak {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kRound = 60s;
constexpr auto kObservation = 200ms;
// For what is owed when trouble ends.
constexpr auto kSettling = 60s;
constexpr auto kStopLimit = 2500ms;

test::Config configuration(const std::vector<std::uint16_t>& ports, std::uint16_t server) {
    test::Config config;
    config.serialPorts(ports).server(server);
    config.set("RICH_ORA", "TOUT_ORA", "1");
    config.set("INTERNAL", "ZQ_SW_VERSION", "soak version");
    config.set("INTERNAL", "ZQ_MODEL", "soak model");
    config.set("INTERNAL", "ZQ_MANUFACTURER_ID", "SOAKSOAK");
    config.set("INTERNAL", "MAC_ADDR_eth0", "ff:ff:ff:ff:ff:00");
    return config;
}

}  // namespace

Soak::Soak(std::uint64_t seed, std::chrono::seconds length)
    : seed_(seed),
      length_(length),
      park_(seed),
      server_(stage_, summary_, seed),
      daemon_(test::daemonOptions(), configuration(park_.ports(), server_.port())),
      check_(daemon_, park_, summary_, seed) {}

Soak::~Soak() {
    joinAll();
}

bool Soak::run() {
    try {
        park_.start();
        daemon_.start();
        rounds();
        stop();
    } catch (const std::exception& e) {
        stage_.violation(e.what());
    }
    joinAll();
    return violation().empty();
}

std::string Soak::lastLogLines() {
    constexpr std::size_t kMost = 60;
    std::vector<test::LogLine> lines = daemon_.log().take();
    std::erase_if(lines, isDebugging);
    std::string result = "last lines of the log:\n";
    const std::size_t first = lines.size() > kMost ? lines.size() - kMost : 0;
    for (std::size_t i = first; i < lines.size(); ++i) {
        result += "  " + lines[i].timestamp + " " + lines[i].text + "\n";
    }
    return result;
}

void Soak::rounds() {
    threads_.emplace_back(&ServerTrouble::run, &server_);
    check_.takeBaseline();
    startHosts();
    std::chrono::milliseconds left = length_;
    while (left > 0ms && !stage_.isOver()) {
        const std::chrono::milliseconds round = std::min<std::chrono::milliseconds>(left, kRound);
        left -= round;
        trouble(round);
        if (!stage_.isOver()) calm();
    }
}

void Soak::startHosts() {
    for (std::size_t index = 0; index < Park::kMachines; ++index) {
        troubles_.push_back(
            std::make_unique<MachineTrouble>(index, park_, stage_, summary_, seed_));
        threads_.emplace_back(&MachineTrouble::run, troubles_.back().get());
    }
    const SoakHost::Surroundings around{door_, daemon_.port(), park_, stage_, summary_, seed_};
    for (std::uint32_t number = 1; number <= kHosts; ++number) {
        hosts_.push_back(std::make_unique<SoakHost>(number, around));
        threads_.emplace_back(&SoakHost::run, hosts_.back().get());
    }
}

void Soak::trouble(std::chrono::milliseconds time) {
    const auto end = Clock::now() + time;
    stage_.set(Stage::Act::Trouble);
    while (Clock::now() < end && !stage_.isOver()) {
        check_.observe();
        stage_.stay(Stage::Act::Trouble, kObservation);
    }
}

void Soak::calm() {
    stage_.set(Stage::Act::Calm);
    const auto isIdle = [](const auto& party) { return party->isIdle(); };
    const auto settled = [&] {
        return stage_.isOver() || (std::all_of(hosts_.begin(), hosts_.end(), isIdle) &&
                                   std::all_of(troubles_.begin(), troubles_.end(), isIdle));
    };
    if (!test::eventually(settled, kSettling)) throw Violation("hosts do not get what is owed");
    if (stage_.isOver()) return;
    check_.check();
    check_.observe();
    std::cout << "calm after " << summary_.total("requests") << " requests, "
              << summary_.total("answer frames") << " answer frames, "
              << summary_.total("connections") << " connections" << std::endl;
}

void Soak::stop() {
    if (stage_.isOver()) return;
    const auto begin = Clock::now();
    const test::ExitStatus status = daemon_.stop();
    const auto time = Clock::now() - begin;
    stage_.set(Stage::Act::Over);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(time);
    summary_.highest("milliseconds to stop", static_cast<std::size_t>(took.count()));
    if (!status.ok()) throw Violation(status.describe() + "\n" + daemon_.standardError());
    if (took > kStopLimit * test::timeScale()) throw Violation("the daemon is slow to stop");
    if (!daemon_.sanitizerReport().empty()) throw Violation(daemon_.sanitizerReport());
}

void Soak::joinAll() {
    stage_.set(Stage::Act::Over);
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
}

}  // namespace teskd::soak
