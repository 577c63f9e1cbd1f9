// The daemon's lock: a recursive mutex and one condition variable in one object.
#pragma once

#include <cstdint>
#include <new>
#include <pthread.h>

#include "core/Exception.h"
#include "core/ThreadSafety.h"

namespace teskd {

// A thin layer over the POSIX mutex and condition variable. Objects that are shared embed one.
//
// Threads: every operation from any thread. The thread that holds the lock may lock it again.
// Ownership: belongs to the object it guards and must not be destroyed while another thread holds
// it; a thread that has not yet returned from unlock() no longer holds it. Errors: tryLock and the
// destructor report by exception, the others ignore the POSIX results.
class TESKD_CAPABILITY("mutex") Synchronized {
  public:
    Synchronized();
    // A new lock, which is not recursive: nothing of the source is copied.
    Synchronized(const Synchronized& source);
    Synchronized& operator=(const Synchronized&) = delete;
    // @throws SynchronizedException when another thread holds the lock, which is then not destroyed
    virtual ~Synchronized() noexcept(false);
    // Frees the memory of a deleted object, unless its destructor threw.
    static void operator delete(Synchronized* object, std::destroying_delete_t) noexcept(false);

    void lock() TESKD_ACQUIRE();
    void unlock() TESKD_RELEASE();
    // Takes the lock or fails at once. @throws LockedSynchronizedException
    void tryLock() TESKD_ACQUIRE();

    // Waits on the condition once; for a caller that does not hold the lock.
    void wait();
    // Waits on the condition once. The caller holds the lock exactly once, since waiting releases
    // only one level of it.
    void waitLocked() TESKD_REQUIRES(this);
    // The same for at most that many microseconds of monotonic time. False if the time ran out.
    bool waitLocked(std::int64_t microseconds) TESKD_REQUIRES(this);
    // Wakes one waiter.
    void notify();
    // Wakes every waiter.
    void notifyAll();

  private:
    pthread_mutex_t mutex_;
    pthread_cond_t condition_;
};

// Holds a Synchronized for a scope.
class TESKD_SCOPED_CAPABILITY SynchronizedLock {
  public:
    explicit SynchronizedLock(Synchronized& lock) TESKD_ACQUIRE(lock) : lock_(lock) {
        lock_.lock();
    }
    ~SynchronizedLock() TESKD_RELEASE() { lock_.unlock(); }
    SynchronizedLock(const SynchronizedLock&) = delete;
    SynchronizedLock& operator=(const SynchronizedLock&) = delete;

  private:
    Synchronized& lock_;
};

}  // namespace teskd
