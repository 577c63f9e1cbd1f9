// A latch that a thread waiting for descriptors can wait for as well.
#pragma once

#include <atomic>

#include "core/Descriptor.h"
#include "core/Synchronized.h"

namespace teskd {

// Set once, it stays set (its descriptor stays readable) until cleared; everybody who polls the
// descriptor wakes. Built on the system's counter for events: unlike a pipe, it takes a mark
// without needing memory for it, so nobody's stop is lost.
//
// Owner: the object whose threads it stops; must outlive everything that polls it.
// Threads: every operation from any thread. Locks: its own; flag and descriptor change together.
class StopEvent {
  public:
    // @throws IOException when no descriptors are left
    StopEvent();
    StopEvent(const StopEvent&) = delete;
    StopEvent& operator=(const StopEvent&) = delete;

    void set();
    void clear();
    bool isSet() const { return set_; }
    // Readable while the event is set; for poll alone.
    int descriptor() const { return event_.get(); }

  private:
    Descriptor event_;
    Synchronized lock_;
    std::atomic<bool> set_{false};  // changed under the lock
};

}  // namespace teskd
