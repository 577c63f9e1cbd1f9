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

  private:
    mutable Synchronized lock_;
    unsigned count_ TESKD_GUARDED_BY(lock_) = 0;
};

}  // namespace teskd
