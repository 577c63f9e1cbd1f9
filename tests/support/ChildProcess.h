// A program run by a test, with its output captured.
//
// Ownership: the object owns the process: the destructor kills and reaps it. It never affects any
// other process.
// Threads: one user at a time; a separate thread collects the output. The kernel may kill the
// process when the thread that started it ends, so start it on a thread that outlives it. Errors:
// the constructor throws std::system_error if the program cannot be started.

#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

#include "support/Deadline.h"
#include "support/UniqueFd.h"

namespace teskd::test {

// How a process ended: by exit or by a signal.
struct ExitStatus {
    int code = -1;   // exit status; -1 after a signal
    int signal = 0;  // the signal; 0 after an exit
    bool ok() const { return code == 0; }
    std::string describe() const;
};

class ChildProcess {
  public:
    struct Options {
        std::vector<std::string> command{};                // command[0] is searched in PATH
        std::map<std::string, std::string> environment{};  // added to that of the test
        int keepFd = -1;                                   // becomes descriptor 3 of the program
        // Becomes the program's standard error, which is then not captured.
        int standardError = -1;
    };

    explicit ChildProcess(const Options& options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool running() { return !poll().has_value(); }
    // No effect once the process has been reaped.
    void signal(int number);
    // The status; no value if the process still runs at the deadline.
    std::optional<ExitStatus> waitForExit(Deadline deadline = {});

    // Stops reading the program's output, so that its pipes, reduced to their minimum size, fill
    // up.
    void leaveOutputUnread();
    void readOutputAgain();

    // The output so far; complete once waitForExit has returned a status.
    std::string standardOutput() const;
    std::string standardError() const;

  private:
    std::optional<ExitStatus> poll();
    void collect();
    bool drain(int fd, std::string& to);
    void finishOutput();

    pid_t pid_ = -1;
    std::optional<ExitStatus> status_;
    UniqueFd output_;
    UniqueFd error_;
    UniqueFd wake_;

    mutable std::mutex mutex_;
    std::string outputText_;  // guarded by mutex_
    std::string errorText_;   // guarded by mutex_

    void setReading(bool reading);

    std::atomic<bool> outputEnded_ = false;
    std::atomic<bool> reading_ = true;
    std::atomic<bool> finishing_ = false;
    std::thread collector_;
};

}  // namespace teskd::test
