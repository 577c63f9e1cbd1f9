// A blocking call on a separate thread.
//
// Ownership: the object owns the thread; the destructor waits for the call to end.
// Threads: one user at a time.
// Errors: result() throws Timeout, and what the call threw.

#pragma once

#include <atomic>
#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <unistd.h>

#include "support/Deadline.h"

namespace teskd::test {

class BlockedCall {
  public:
    // Returns when the call sleeps in the kernel or has ended.
    explicit BlockedCall(std::function<std::string()> call)
        : result_(std::async(std::launch::async, [this, work = std::move(call)] {
              thread_ = ::gettid();
              return work();
          })) {
        eventually([this] { return ended() || asleep(); });
    }

    bool ended() const { return endsWithin(std::chrono::milliseconds(0)); }
    bool endsWithin(std::chrono::milliseconds time) const {
        return result_.wait_for(time) == std::future_status::ready;
    }
    std::string result(Deadline deadline = {}) {
        if (!endsWithin(deadline.left())) throw Timeout("the call still blocks");
        return result_.get();
    }

  private:
    bool asleep() const {
        std::ifstream file("/proc/self/task/" + std::to_string(thread_) + "/stat");
        std::string line;
        std::getline(file, line);
        return line.find(") S ") != std::string::npos;
    }

    std::atomic<pid_t> thread_ = 0;
    std::future<std::string> result_;
};

}  // namespace teskd::test
