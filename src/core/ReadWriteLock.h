// A lock for data that is nearly always read: readers do not exclude each other.
#pragma once

#include <pthread.h>

#include "core/ThreadSafety.h"

namespace teskd {

// A thin layer over the POSIX reader-writer lock, which Clang's thread-safety analysis checks. Not
// recursive. A writer waits only for readers that already hold the lock; later readers wait for the
// writer. std::shared_mutex lets later readers pass, so that constant reading would starve a
// writer.
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

    // Acquires the lock exclusively; waits until no other thread holds it.
    void lock() TESKD_ACQUIRE() TESKD_NO_ANALYSIS { pthread_rwlock_wrlock(&lock_); }
    void unlock() TESKD_RELEASE() TESKD_NO_ANALYSIS { pthread_rwlock_unlock(&lock_); }
    // Acquires the lock together with other readers; waits while a writer holds it or waits for it.
    void lockShared() TESKD_ACQUIRE_SHARED() TESKD_NO_ANALYSIS { pthread_rwlock_rdlock(&lock_); }
    void unlockShared() TESKD_RELEASE_SHARED() TESKD_NO_ANALYSIS { pthread_rwlock_unlock(&lock_); }

  private:
    pthread_rwlock_t lock_;
};

// Holds a ReadWriteLock for reading for a scope, together with other readers.
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

// Holds a ReadWriteLock exclusively for a scope.
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
