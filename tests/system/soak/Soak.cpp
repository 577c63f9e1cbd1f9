#include "soak/Soak.h"

#include <algorithm>
#include <cstdlib>
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
constexpr std::uint64_t kStream = 9000;
// A shell command. Enough for more than twice the hosts of the soak, and not for a crowd.
constexpr char kFewDescriptors[] = "ulimit -n 300";
constexpr std::uint32_t kFirstGreedyHost = 0x20;

#ifdef TESKD_SANITIZED
constexpr bool kReportsOnError = true;  // which must be read then
#else
constexpr bool kReportsOnError = false;
#endif

test::Config configuration(const std::vector<std::uint16_t>& ports, std::uint16_t server) {
    test::Config config;
    config.serialPorts(ports).server(server).set("IP_ADDRESS", "IP_SERVER", Network::kServer);
    config.set("RICH_ORA", "TOUT_ORA", "1");
    config.set("INTERNAL", "ZQ_SW_VERSION", "soak version");
    config.set("INTERNAL", "ZQ_MODEL", "soak model");
    config.set("INTERNAL", "ZQ_MANUFACTURER_ID", "SOAKSOAK");
    config.set("INTERNAL", "MAC_ADDR_eth0", "ff:ff:ff:ff:ff:00");
    return config;
}

// The daemon whose calls can be made to fail, unless another one is asked for, with few
// descriptors.
test::DaemonProcess::Options failingDaemon() {
    test::DaemonProcess::Options options;
    if (std::getenv("TESKD_DAEMON") == nullptr) options.program = TESKD_FAILING_BINARY;
    options.disk.before = kFewDescriptors;
    return test::daemonOptions(options);
}

}  // namespace

Soak::Soak(std::uint64_t seed, std::chrono::seconds length, const std::filesystem::path& table)
    : seed_(seed),
      length_(length),
      random_(seed, kStream),
      samples_(table),
      park_(seed, stage_),
      server_(network_, stage_, summary_, seed),
      daemon_(failingDaemon(), configuration(park_.ports(), server_.port())),
      check_({daemon_, park_, server_, summary_, samples_, seed}),
      daemonTrouble_(daemon_.root(), park_.excuses(), stage_, summary_, seed),
      networkTrouble_(network_, stage_, summary_, seed),
      crowd_(daemon_.port(), park_.excuses(), summary_) {}

Soak::~Soak() {
    joinAll();
}

bool Soak::run() {
    try {
        park_.start();
        daemon_.start();
        daemon_.leaveOutputUnread();
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
    run(server_);
    check_.takeBaseline();
    startMachineTroubles();
    startHosts();
    run(daemonTrouble_);
    run(networkTrouble_);
    std::chrono::milliseconds left = length_;
    while (left > 0ms && !stage_.isOver()) {
        const std::chrono::milliseconds round = std::min<std::chrono::milliseconds>(left, kRound);
        left -= round;
        trouble(round);
        if (!stage_.isOver()) calm();
    }
}

void Soak::startMachineTroubles() {
    for (std::size_t index = 0; index < Park::kMachines; ++index) {
        troubles_.push_back(
            std::make_unique<MachineTrouble>(index, park_, stage_, summary_, seed_));
        run(*troubles_.back());
    }
}

void Soak::startHosts() {
    const SoakHost::Surroundings around{door_, daemon_.port(), park_, stage_, summary_, seed_};
    for (std::uint32_t number = 1; number <= kHosts; ++number) {
        hosts_.push_back(std::make_unique<SoakHost>(number, around));
        run(*hosts_.back());
    }
    for (std::uint32_t number = 0; number < kGreedyHosts; ++number) {
        greedyHosts_.push_back(
            std::make_unique<GreedyHost>(kFirstGreedyHost + number, around, crowd_));
        run(*greedyHosts_.back());
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

bool Soak::areAllIdle() const {
    const auto isIdle = [](const auto& party) { return party->isIdle(); };
    const auto are = [&](const auto& parties) {
        return std::all_of(parties.begin(), parties.end(), isIdle);
    };
    return are(hosts_) && are(greedyHosts_) && are(troubles_) && daemonTrouble_.isIdle() &&
           networkTrouble_.isIdle();
}

void Soak::calm() {
    stage_.set(Stage::Act::Calm);
    const auto settled = [&] { return stage_.isOver() || areAllIdle(); };
    if (!test::eventually(settled, kSettling)) throw Violation("hosts do not get what is owed");
    if (stage_.isOver()) return;
    check_.awaitNotification();
    if (random_.chance(60)) checkInCrowd();
    check_.check();
    std::cout << "calm after " << summary_.total("requests") << " requests, "
              << summary_.total("answer frames") << " answer frames, "
              << summary_.total("connections") << " connections" << std::endl;
}

void Soak::checkInCrowd() {
    check_.checkInCrowd(crowd_);
    crowd_.leave();
    check_.awaitDepartures();
}

void Soak::stop() {
    if (stage_.isOver()) return;
    if (kReportsOnError) daemon_.readOutputAgain();
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
