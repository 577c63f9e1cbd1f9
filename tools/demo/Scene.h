// All participants: four slot machines, a notification server and the daemon, on loopback and in
// one temporary directory. The server answers every notification at once, except the one that asks
// for the external parameters, which it answers after every machine has been polled.
//
// Ownership: the object owns all of them; the destructor ends them and removes the directory.
// Threads: one user at a time, whose thread must outlive the daemon.
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

    // Starts or restarts the daemon and waits until every machine has been polled. Clears the log
    // and the notifications.
    void start();
    // Prepares the next start: the controller's software has changed, a machine's counter decreases
    // after the first polling pass, and the second pass follows at once.
    void prepareSecondStart(std::size_t machineToTurnBack);
    // Seconds since start(), as a text.
    std::string sinceStart(std::chrono::steady_clock::time_point time) const;

    SlotMachines& machines() { return machines_; }
    notifyserver::NotificationServer& server() { return server_; }
    teskd::test::DaemonProcess& daemon() { return daemon_; }

  private:
    // `text`: minutes between passes, two flags, minutes from the answer to the next pass.
    void answerParametersWith(const std::string& text, std::size_t machineToTurnBack = 0);

    SlotMachines machines_;
    notifyserver::NotificationServer server_;
    teskd::test::DaemonProcess daemon_;
    std::chrono::steady_clock::time_point started_{};
};

// "0.03 s"
std::string seconds(std::chrono::steady_clock::duration time);
// The local time in the form of AAMS messages, YYMMDDhhmmss.
std::string nowStamp();

}  // namespace demo
