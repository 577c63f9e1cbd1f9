// Everything that takes part: four slot machines, a notification server and the daemon, on
// loopback and in one temporary directory. The server answers every notification at once, but for
// the question for the external parameters: that one once every machine has been polled.
//
// Ownership: the object owns all of it; the destructor ends what still runs and removes the
// directory. Threads: one user at a time; it must outlive the daemon on its thread.
// Errors: the constructor and start() throw std::runtime_error and std::system_error.

#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>

#include "demo/SlotMachines.h"
#include "notifyserver/NotificationServer.h"
#include "support/DaemonProcess.h"

namespace demo {

class Scene {
  public:
    static constexpr char kVersion[] = "2.4.1 demonstration";
    static constexpr char kMac[] = "02005e005301";

    explicit Scene(const std::filesystem::path& daemon);

    // Starts the daemon, also after it was ended, and waits until every machine has been polled.
    // Log and notifications begin anew.
    void start();
    // From the next start on: the controller's software was changed meanwhile, a machine's counter
    // goes backwards after the first polling pass, and the second one follows at once.
    void prepareSecondStart(std::size_t machineToTurnBack);
    // Seconds since start(), as a text.
    std::string sinceStart(std::chrono::steady_clock::time_point time) const;

    SlotMachines& machines() { return machines_; }
    notifyserver::NotificationServer& server() { return server_; }
    teskd::test::DaemonProcess& daemon() { return daemon_; }

  private:
    // The parameters: minutes between passes, two flags, minutes from the answer to the next pass.
    void answerParametersWith(const std::string& text, std::size_t machineToTurnBack = 0);

    SlotMachines machines_;
    notifyserver::NotificationServer server_;
    teskd::test::DaemonProcess daemon_;
    std::chrono::steady_clock::time_point started_{};
};

// "0.03 s"
std::string seconds(std::chrono::steady_clock::duration time);
// The local time as the AAMS side writes it, YYMMDDhhmmss.
std::string nowStamp();

}  // namespace demo
