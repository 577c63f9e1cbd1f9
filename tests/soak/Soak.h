// A soak: the daemon among machines, hosts and a notification server that all fail at random, and
// its judgement.
//
// Ownership: the object owns everything. Threads: run() on the thread that made the object.
// Errors: none leave run(); what goes wrong is in violation().

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "soak/CalmCheck.h"
#include "soak/MachineTrouble.h"
#include "soak/Park.h"
#include "soak/ServerTrouble.h"
#include "soak/SoakHost.h"
#include "soak/Stage.h"
#include "soak/Summary.h"
#include "support/DaemonProcess.h"

namespace teskd::soak {

class Soak {
  public:
    static constexpr std::uint32_t kHosts = 16;

    Soak(std::uint64_t seed, std::chrono::seconds length);
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
    void startHosts();
    void stop();
    void joinAll();

    const std::uint64_t seed_;
    const std::chrono::seconds length_;
    Stage stage_;
    Summary summary_;
    Park park_;
    ServerTrouble server_;
    test::DaemonProcess daemon_;
    CalmCheck check_;
    std::vector<std::unique_ptr<MachineTrouble>> troubles_;
    SoakHost::Door door_{SoakHost::Door::max()};
    std::vector<std::unique_ptr<SoakHost>> hosts_;
    std::vector<std::thread> threads_;
};

}  // namespace teskd::soak
