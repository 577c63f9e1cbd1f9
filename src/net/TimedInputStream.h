// Turns the time-out of a single wait into one for everything that is read.
#pragma once

#include <chrono>

#include "net/FilterInputStream.h"

namespace teskd {

// setTimeout starts a budget: all reads until the next setTimeout share it, so that a peer who
// sends a byte now and then cannot hold its reader longer. Time is the steady clock's. A budget of
// 0 means no limit.
//
// Threads and ownership: as FilterInputStream.
class TimedInputStream : public FilterInputStream {
  public:
    using FilterInputStream::FilterInputStream;

    // @throws SocketTimeoutException when the budget is used up
    int read() override;
    int read(char* buffer, int len) override;
    int skip(int n) override;
    void setTimeout(int milliseconds) override;
    // The budget as it was set.
    int getTimeout() override { return budget_; }

  private:
    void passRemainingTimeOn();

    int budget_ = 0;  // milliseconds
    std::chrono::steady_clock::time_point deadline_{};
};

}  // namespace teskd
