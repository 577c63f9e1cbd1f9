// A daemon under test: a program in a sandbox, with access to its configuration, log and output.
//
// Ownership: the object owns the process, its temporary directories and its log socket; the
// destructor kills the process.
// Threads: one user at a time; start it on a thread that outlives it. log() may be used from any
// thread.
// Errors: start() throws std::runtime_error, with the daemon's output and log, if the daemon does
// not start; the constructor throws std::system_error.

#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Config.h"
#include "support/Deadline.h"
#include "support/Listener.h"
#include "support/LogSocket.h"
#include "support/Sandbox.h"
#include "support/TempDir.h"

namespace teskd::test {

class DaemonProcess {
  public:
    struct Options {
        std::filesystem::path program{};
        std::vector<std::string> arguments{};
        // The command before the program, for one built for another processor.
        std::vector<std::string> emulator{};
        Files files = Files::TeskdRoot;
        std::filesystem::path notRunning{};  // replaces /usr/bin/notrunning
        std::map<std::string, std::string> environment{};
        bool withLog = true;                                   // false: there is no /dev/log
        Disk disk{};                                           // its faults
        std::filesystem::path configFile = "etc/tesk_v2.ini";  // where start() writes config()
        int standardError = -1;          // a descriptor to use instead of a captured one
        bool waitUntilListening = true;  // start() waits until hosts can connect
    };

    explicit DaemonProcess(Options options, Config config = {});
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    // Writes the configuration file and starts the daemon. Other files may be added below root()
    // ("etc", "config", "tmp") before. May be called again after the process has ended: port, files
    // and log stay.
    void start(Deadline deadline = {});
    const std::filesystem::path& root() const { return root_; }
    // root() as the running daemon sees it, with its own mounts.
    std::filesystem::path rootInside() const;
    Config& config() { return config_; }

    // TCP port for hosts.
    std::uint16_t port() const { return port_; }
    // The daemon itself, not the sandbox around it.
    pid_t pid() const { return pid_; }
    LogSocket& log() { return log_; }

    bool running() { return child_ && child_->running(); }
    void terminate(int signal = SIGTERM);
    std::optional<ExitStatus> waitForExit(Deadline deadline = {});
    // Sends SIGTERM and returns the status. @throws Timeout if the daemon does not end
    ExitStatus stop(Deadline deadline = {});

    std::string standardOutput() const { return child_ ? child_->standardOutput() : ""; }
    std::string standardError() const { return child_ ? child_->standardError() : ""; }
    // Stops reading its output, so that its pipes fill up.
    void leaveOutputUnread() { child_->leaveOutputUnread(); }
    void readOutputAgain() { child_->readOutputAgain(); }
    // Standard error from the first sanitizer report on; empty if there is none.
    std::string sanitizerReport() const;

    std::size_t residentKilobytes() const;
    std::size_t openDescriptors() const;
    std::size_t threadCount() const;

  private:
    void launch(Deadline deadline);
    void awaitListening(Deadline deadline);
    bool isSurrounding(const std::string& executable) const;
    void kill();
    std::string story() const;

    const Options options_;
    Config config_;
    TempDir temp_;
    const std::filesystem::path root_;
    LogSocket log_;
    std::unique_ptr<ChildProcess> child_;
    std::optional<ReservedPort> reserved_;  // unless the configuration names a port
    std::uint16_t port_ = 0;
    pid_t pid_ = -1;
};

// Start of the first sanitizer report in a program's standard error, or npos.
std::size_t findSanitizerReport(const std::string& text);

}  // namespace teskd::test

// Expects that the daemon ends on SIGTERM with status 0 and without a sanitizer report.
#define EXPECT_CLEAN_STOP(daemon)                                           \
    do {                                                                    \
        const auto statusOfStop_ = (daemon).stop();                         \
        EXPECT_TRUE(statusOfStop_.ok()) << statusOfStop_.describe() << "\n" \
                                        << (daemon).standardError();        \
        EXPECT_EQ("", (daemon).sanitizerReport());                          \
    } while (false)
