// A lock for what is read nearly always: readers do not exclude each other.
#pragma once

#include <pthread.h>

#include "core/ThreadSafety.h"

namespace teskd {

// A thin layer over the POSIX lock that a Clang build checks. Not recursive. A writer waits for the
// readers who have the lock and for nobody who comes later: std::shared_mutex lets readers past it,
// and where many read there is always another one.
//
// Threads: every operation from any thread. Ownership: belongs to the object it guards and outlives
// every ReadLock and WriteLock on it. Errors: none; the POSIX results are ignored.
class TESKD_CAPABILITY("mutex") ReadWriteLock {
  public:
    ReadWriteLock() {
        pthread_rwlockattr_t attributes;
        pthread_rwlockattr_init(&attributes);
        pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        pthread_rwlock_init(&lock_, &attributes);
        pthread_rwlockattr_destroy(&attributes);
    }
    ReadWriteLock(const ReadWriteLock&) = delete;
    ReadWriteLock& operator=(const ReadWriteLock&) = delete;
    ~ReadWriteLock() { pthread_rwlock_destroy(&lock_); }

    // Waits until nobody else has the lock, and keeps it alone.
    void lock() TESKD_ACQUIRE() TESKD_NO_ANALYSIS { pthread_rwlock_wrlock(&lock_); }
    void unlock() TESKD_RELEASE() TESKD_NO_ANALYSIS { pthread_rwlock_unlock(&lock_); }
    // Waits until nobody has the lock alone or waits for that, and keeps it beside other readers.
    void lockShared() TESKD_ACQUIRE_SHARED() TESKD_NO_ANALYSIS { pthread_rwlock_rdlock(&lock_); }
    void unlockShared() TESKD_RELEASE_SHARED() TESKD_NO_ANALYSIS { pthread_rwlock_unlock(&lock_); }

  private:
    pthread_rwlock_t lock_;
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
