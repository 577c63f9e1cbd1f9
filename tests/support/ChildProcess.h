// A program run by a test, with its output captured.
//
// Ownership: the object owns the process: the destructor kills and reaps it. It never touches a
// process that it did not start.
// Threads: one user at a time; a thread of its own collects the output. The kernel may kill the
// process when the thread that started it ends, so start it on a thread that outlives it.
// Errors: the constructor throws std::system_error when the program cannot be started.

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

// How a process ended: by exit(code) or by a signal.
struct ExitStatus {
    int code = -1;   // exit code, -1 when a signal ended the process
    int signal = 0;  // the signal, 0 when the process exited
    bool ok() const { return code == 0; }
    std::string describe() const;
};

class ChildProcess {
  public:
    struct Options {
        std::vector<std::string> command{};                // command[0] is looked up in PATH
        std::map<std::string, std::string> environment{};  // added to the test's own
        int keepFd = -1;  // a descriptor the program gets as number 3
        // What the program gets as its standard error, which is not captured then.
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
    // The status, or nothing when the process still runs at the deadline.
    std::optional<ExitStatus> waitForExit(Deadline deadline = {});

    // From now on nobody reads what the program writes; its pipes, made as small as can be, fill
    // up.
    void leaveOutputUnread();
    void readOutputAgain();

    // What the program has written so far; all of it once waitForExit has returned a status.
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
