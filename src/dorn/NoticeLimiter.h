// Keeps a talkative peer from filling the log.
#pragma once

#include <chrono>

namespace teskd {

// Lets a few lines a second through. Threads: one at a time.
class NoticeLimiter {
  public:
    // True when another line may be logged now.
    bool allows();

  private:
    static constexpr int LINES_PER_SECOND = 4;

    std::chrono::steady_clock::time_point second_{};
    int lines_ = 0;  // logged in that second
};

}  // namespace teskd
