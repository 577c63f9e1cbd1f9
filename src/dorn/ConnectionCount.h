// How many host connections are being served, and how much they log.
#pragma once

#include "core/NoticeLimiter.h"
#include "core/Synchronized.h"

namespace teskd {

// A count that each served connection holds a place in, with the bound on what they log together:
// hosts that come and go have a few lines each, and nothing limits how many come.
//
// Owner: the DornDeamon, which outlives the connections by waiting for the count to reach zero.
// Threads: any. Locks: its own, innermost.
class ConnectionCount {
  public:
    // Enough for sixty hosts that go at once.
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

    // How many are being served.
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
