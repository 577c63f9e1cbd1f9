// A lock for what is read nearly always: readers do not exclude each other.
#pragma once

#include <shared_mutex>

#include "core/ThreadSafety.h"

namespace teskd {

// A thin layer over std::shared_mutex that a Clang build checks. Not recursive.
//
// Threads: every operation from any thread. Ownership: belongs to the object it guards and outlives
// every ReadLock and WriteLock on it. Errors: none.
class TESKD_CAPABILITY("mutex") ReadWriteLock {
  public:
    ReadWriteLock() = default;
    ReadWriteLock(const ReadWriteLock&) = delete;
    ReadWriteLock& operator=(const ReadWriteLock&) = delete;
    ~ReadWriteLock() = default;

    // Waits until nobody else has the lock, and keeps it alone.
    void lock() TESKD_ACQUIRE() TESKD_NO_ANALYSIS { mutex_.lock(); }
    void unlock() TESKD_RELEASE() TESKD_NO_ANALYSIS { mutex_.unlock(); }
    // Waits until nobody has the lock alone, and keeps it beside other readers.
    void lockShared() TESKD_ACQUIRE_SHARED() TESKD_NO_ANALYSIS { mutex_.lock_shared(); }
    void unlockShared() TESKD_RELEASE_SHARED() TESKD_NO_ANALYSIS { mutex_.unlock_shared(); }

  private:
    std::shared_mutex mutex_;
};

// Holds a ReadWriteLock for reading, for a scope, beside other readers.
class TESKD_SCOPED_CAPABILITY ReadLock {
  public:
    explicit ReadLock(ReadWriteLock& lock) TESKD_ACQUIRE_SHARED(lock) : lock_(lock) {
        lock_.lockShared();
    }
    ~ReadLock() TESKD_RELEASE() { lock_.unlockShared(); }
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;

  private:
    ReadWriteLock& lock_;
};

// Holds a ReadWriteLock alone, for a scope.
class TESKD_SCOPED_CAPABILITY WriteLock {
  public:
    explicit WriteLock(ReadWriteLock& lock) TESKD_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    ~WriteLock() TESKD_RELEASE() { lock_.unlock(); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

  private:
    ReadWriteLock& lock_;
};

}  // namespace teskd
