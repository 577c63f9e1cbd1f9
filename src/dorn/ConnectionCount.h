// How many host connections are being served.
#pragma once

#include "core/Synchronized.h"

namespace teskd {

// A count that each served connection holds a place in.
//
// Owner: the DornDeamon, which outlives the connections by waiting for the count to reach zero.
// Threads: any. Locks: its own, innermost.
class ConnectionCount {
  public:
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

    // Waits without limit until no connection is served.
    void awaitNone();

  private:
    Synchronized lock_;
    unsigned count_ TESKD_GUARDED_BY(lock_) = 0;
};

}  // namespace teskd
