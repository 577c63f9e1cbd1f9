// The number of host connections.
#pragma once

#include "core/Synchronized.h"

namespace teskd {

// Counts the connections that are being served.
//
// Owner: the DornDeamon, which outlives the connections by waiting for the count to reach zero.
// Threads: any. Locks: its own, innermost.
class ConnectionCount {
  public:
    // Fewer leave little memory behind.
    static constexpr unsigned MANY = 8;

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

    // Whether haveGone() may become true without further connections.
    bool areMany() const;
    // True when half of many connections have ended since the last time, and once more after that,
    // for the threads that were still ending. So it is seldom true, and also if some of them stay.
    bool haveGone();

  private:
    mutable Synchronized lock_;
    unsigned count_ TESKD_GUARDED_BY(lock_) = 0;
    unsigned most_ TESKD_GUARDED_BY(lock_) = 0;  // since haveGone()
    bool again_ TESKD_GUARDED_BY(lock_) = false;
};

}  // namespace teskd
