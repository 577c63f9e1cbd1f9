// The number of host connections, and the rate limit of what they log.
#pragma once

#include "core/NoticeLimiter.h"
#include "core/Synchronized.h"

namespace teskd {

// Counts the connections that are being served, and limits what all of them log together: each
// connection logs a few lines, and hosts may connect and disconnect any number of times.
//
// Owner: the DornDeamon, which outlives the connections by waiting for the count to reach zero.
// Threads: any. Locks: its own, innermost.
class ConnectionCount {
  public:
    // Enough for sixty hosts that disconnect at once.
    static constexpr int LINES_PER_SECOND = 128;

    // One served connection, for as long as it lives.
    class Place {
      public:
        explicit Place(ConnectionCount& count);
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

      private:
        ConnectionCount& count_;
    };

    // The connections that are being served now.
    unsigned present() const;
    // Waits without limit until no connection is served.
    void awaitNone();

    NoticeLimiter& notices() { return notices_; }

  private:
    NoticeLimiter notices_{LINES_PER_SECOND};
    mutable Synchronized lock_;
    unsigned count_ TESKD_GUARDED_BY(lock_) = 0;
};

}  // namespace teskd
