// A flag that a thread can wait for in poll, together with other descriptors.
#pragma once

#include <atomic>

#include "core/Descriptor.h"
#include "core/Synchronized.h"

namespace teskd {

// Once set, it stays set, and its descriptor readable, until it is cleared; every thread that polls
// the descriptor wakes up. Uses an eventfd: unlike writing to a pipe, setting it needs no memory,
// so no stop is lost.
//
// The descriptor is opened by the constructor or, for an owner that may never wait, by the first
// call of descriptor().
//
// Owner: the object whose threads it stops; must outlive everything that polls it.
// Threads: every operation from any thread. Locks: its own, so that flag and descriptor change
// together.
class StopEvent {
  public:
    enum class Opening { NOW, WHEN_AWAITED };

    // @throws IOException when it is opened now and no descriptors are left
    explicit StopEvent(Opening opening = Opening::NOW);
    StopEvent(const StopEvent&) = delete;
    StopEvent& operator=(const StopEvent&) = delete;

    void set();
    void clear();
    bool isSet() const { return set_; }
    // Readable while the event is set; only for poll. Every call returns the same descriptor.
    // @throws IOException when it is not open yet and no descriptors are left
    int descriptor() const { return isOpen_ ? event_.get() : opened(); }

  private:
    int opened() const;
    void open() const TESKD_REQUIRES(lock_);

    mutable Descriptor event_;  // set once, before isOpen_
    mutable std::atomic<bool> isOpen_{false};
    mutable Synchronized lock_;
    std::atomic<bool> set_{false};  // changed under the lock
};

}  // namespace teskd
