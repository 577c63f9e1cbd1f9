// A controller, booted in an emulator: kernel, BusyBox, our package, from copies of the images in
// build/controller. script/controller makes these.
//
// Ownership: the object owns the emulator and the copies; the destructor ends the one, as a power
// cut does, and removes the others.
// Threads: one user at a time; boot it on a thread that outlives it.
// Errors: std::runtime_error with what the console said when it does not boot or a command fails;
// Timeout.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Config.h"
#include "support/Connection.h"
#include "support/HostClient.h"
#include "support/Listener.h"
#include "support/TempDir.h"

namespace teskd::test {

class Controller {
  public:
    struct Options {
        std::string memory = "32M";     // what the kernel uses
        std::string date{};             // where its clock starts, UTC; this machine's when empty
        std::filesystem::path cable{};  // the directory of a Cable to the outside; empty for none
    };

    // Machines and servers of this machine's 127.0.0.1 are at kOutside for it.
    static constexpr char kOutside[] = "10.0.2.2";
    // A daemon that serves all addresses and finds machines and notification server outside.
    static Config config(const std::vector<std::uint16_t>& machines, std::uint16_t server);

    explicit Controller(const Config& config, Options options);
    explicit Controller(const Config& config) : Controller(config, Options()) {}

    // Returns once the daemon listens.
    void boot();
    // Runs a command on the controller as root; what it wrote. Throws when it fails.
    std::string run(const std::string& command, Deadline deadline = std::chrono::seconds(30));
    // Its status instead.
    int status(const std::string& command);
    // A host outside, connected to the daemon.
    HostClient host() { return HostClient(port_.number(), std::chrono::seconds(30)); }
    std::uint16_t port() const { return port_.number(); }

    // Takes the network card's cable out or puts it in.
    void setCable(bool in);
    // One more port of 127.0.0.1 that leads to the daemon, by another address of the controller.
    void forward(std::uint16_t port, const std::string& address);
    // As an operator does; returns once the emulator has ended. False when it does not end.
    bool powerOff();
    // At once.
    void cutPower();

    // Everything that was printed on the console since it was booted.
    std::string console() const { return emulator_ ? emulator_->standardOutput() : ""; }
    // The daemon's lines of the system log.
    std::string log() { return run("cat /var/log/messages"); }
    // The daemon's process.
    std::string pid() { return run("cat /run/teskd.pid"); }
    // A value of its /proc/status, a number.
    long statusValue(const std::string& name);

  private:
    std::vector<std::string> command() const;
    void tellMonitor(const std::string& order);
    bool says(const std::string& text) const;
    std::string readUntilMark(Deadline deadline);
    std::string finishCommand(const std::string& command, Deadline deadline, int& status);

    const Options options_;
    TempDir files_;
    ReservedPort port_;
    std::unique_ptr<ChildProcess> emulator_;
    Connection shell_;
};

}  // namespace teskd::test
