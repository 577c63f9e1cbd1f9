// Turns the time-out of each read into one deadline for all reads.
#pragma once

#include "core/Deadline.h"
#include "net/FilterInputStream.h"

namespace teskd {

// setTimeout starts a time budget that all reads share until the next setTimeout, so that a peer
// which sends a byte now and then cannot block its reader for longer. Uses the steady clock. A
// budget of 0 means no limit.
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
    void applyRemainingTime();

    int budget_ = 0;  // milliseconds
    Deadline deadline_ = Deadline::never();
};

}  // namespace teskd
