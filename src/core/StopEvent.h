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
// Its descriptor is opened at once, or, for an owner that may never wait, by the first
// descriptor().
//
// Owner: the object whose threads it stops; must outlive everything that polls it.
// Threads: every operation from any thread. Locks: its own; flag and descriptor change together.
class StopEvent {
  public:
    enum class Opening { NOW, WHEN_AWAITED };

    // @throws IOException when it is to be opened now and no descriptors are left
    explicit StopEvent(Opening opening = Opening::NOW);
    StopEvent(const StopEvent&) = delete;
    StopEvent& operator=(const StopEvent&) = delete;

    void set();
    void clear();
    bool isSet() const { return set_; }
    // Readable while the event is set; for poll alone. The same from the first call on.
    // @throws IOException when it was not opened yet and no descriptors are left
    int descriptor() const { return isOpen_ ? event_.get() : opened(); }

  private:
    int opened() const;
    void open() const TESKD_REQUIRES(lock_);

    mutable Descriptor event_;  // changed once, before isOpen_ is
    mutable std::atomic<bool> isOpen_{false};
    mutable Synchronized lock_;
    std::atomic<bool> set_{false};  // changed under the lock
};

}  // namespace teskd
