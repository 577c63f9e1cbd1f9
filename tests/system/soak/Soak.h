// A soak: the daemon among machines, hosts and a notification server that all fail at random, and
// its judgement.
//
// Ownership: the object owns everything. Threads: run() on the thread that made the object.
// Errors: none leave run(); what goes wrong is in violation().

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "soak/CalmCheck.h"
#include "soak/Crowd.h"
#include "soak/DaemonTrouble.h"
#include "soak/GreedyHost.h"
#include "soak/MachineTrouble.h"
#include "soak/Network.h"
#include "soak/NetworkTrouble.h"
#include "soak/Park.h"
#include "soak/Random.h"
#include "soak/Samples.h"
#include "soak/ServerTrouble.h"
#include "soak/SoakHost.h"
#include "soak/Stage.h"
#include "soak/Summary.h"
#include "support/DaemonProcess.h"

namespace teskd::soak {

class Soak {
  public:
    static constexpr std::uint32_t kHosts = 16;
    static constexpr std::uint32_t kGreedyHosts = 3;

    // The table of samples goes to a file, if it has a name.
    Soak(std::uint64_t seed, std::chrono::seconds length, const std::filesystem::path& table);
    ~Soak();

    // False when the daemon did what it must not.
    bool run();
    std::string violation() const { return stage_.violation(); }
    // The daemon's last lines, for the message.
    std::string lastLogLines();
    const Summary& summary() const { return summary_; }

  private:
    void rounds();
    void trouble(std::chrono::milliseconds time);
    void calm();
    void checkInCrowd();
    void startMachineTroubles();
    void startHosts();
    bool areAllIdle() const;
    template <typename Party>
    void run(Party& party) {
        threads_.emplace_back(&Party::run, &party);
    }
    void stop();
    void joinAll();

    const std::uint64_t seed_;
    const std::chrono::seconds length_;
    Random random_;
    Network network_;  // first, so that all else is in it
    Stage stage_;
    Summary summary_;
    Samples samples_;
    Park park_;
    ServerTrouble server_;
    test::DaemonProcess daemon_;
    CalmCheck check_;
    DaemonTrouble daemonTrouble_;
    NetworkTrouble networkTrouble_;
    Crowd crowd_;
    std::vector<std::unique_ptr<MachineTrouble>> troubles_;
    SoakHost::Door door_{SoakHost::Door::max()};
    std::vector<std::unique_ptr<SoakHost>> hosts_;
    std::vector<std::unique_ptr<GreedyHost>> greedyHosts_;
    std::vector<std::thread> threads_;
};

}  // namespace teskd::soak
