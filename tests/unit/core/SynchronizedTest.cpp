#include <atomic>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <latch>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include "core/Synchronized.h"
#include "core/Thread.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

// The locking that a test does by hand, where a scope would hide what is tested. Objects whose
// destruction failed are locked as well, which the sanitizer of types would not allow.
__attribute__((no_sanitize("vptr"))) void take(Synchronized& lock) TESKD_NO_ANALYSIS {
    lock.lock();
}
__attribute__((no_sanitize("vptr"))) void release(Synchronized& lock) TESKD_NO_ANALYSIS {
    lock.unlock();
}

// The message of the failure, or nothing when the lock is taken.
__attribute__((no_sanitize("vptr"))) std::optional<std::string> tryToTake(Synchronized& lock)
    TESKD_NO_ANALYSIS {
    try {
        lock.tryLock();
        return std::nullopt;
    } catch (const LockedSynchronizedException& e) {
        return e.getMessage();
    }
}

void onAnotherThread(const std::function<void()>& work) {
    std::thread(work).join();
}

// Another thread that holds the lock from construction to release().
class Holder {
  public:
    explicit Holder(Synchronized& lock)
        : thread_([&] {
              take(lock);
              held_.count_down();
              letGo_.wait();
              test::release(lock);
          }) {
        held_.wait();
    }
    ~Holder() { release(); }

    void release() {
        if (!thread_.joinable()) return;
        letGo_.count_down();
        thread_.join();
    }

  private:
    std::latch held_{1};
    std::latch letGo_{1};
    std::thread thread_;
};

TEST(Synchronized, MayBeLockedAgainByTheThreadThatHoldsIt) {
    Synchronized lock;
    take(lock);
    take(lock);
    EXPECT_EQ(std::nullopt, tryToTake(lock));
    release(lock);
    release(lock);
    release(lock);
}

TEST(Synchronized, IsFreeOnlyAfterAsManyUnlocksAsLocks) {
    Synchronized lock;
    take(lock);
    take(lock);
    release(lock);
    onAnotherThread([&] { EXPECT_NE(std::nullopt, tryToTake(lock)); });
    release(lock);
    onAnotherThread([&] {
        EXPECT_EQ(std::nullopt, tryToTake(lock));
        release(lock);
    });
}

TEST(Synchronized, TryLockThrowsWhileAnotherThreadHoldsIt) {
    Synchronized lock;
    Holder holder(lock);
    EXPECT_EQ("Ressource already Locked", tryToTake(lock));
    holder.release();
    EXPECT_EQ(std::nullopt, tryToTake(lock));
    release(lock);
}

TEST(Synchronized, ExcludesOtherThreads) {
    Synchronized lock;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 20'000; ++i) {
            const SynchronizedLock held(lock);
            ++count;
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(40'000, count);
}

TEST(Synchronized, ACopyIsFreeAndNotRecursive) {
    Synchronized source;
    take(source);
    Synchronized copy(source);
    onAnotherThread([&] {
        EXPECT_EQ(std::nullopt, tryToTake(copy));
        EXPECT_EQ("Ressource already Locked", tryToTake(copy));
        release(copy);
    });
    release(source);
}

TEST(Synchronized, AWaiterHasLetGoOfTheLockAndWakesOnNotify) {
    Synchronized lock;
    std::atomic<bool> holding = false;
    std::thread waiter([&] {
        const SynchronizedLock held(lock);
        holding = true;
        lock.waitLocked();
    });
    while (!holding) std::this_thread::yield();
    {
        const SynchronizedLock held(lock);
        lock.notify();
    }
    waiter.join();
}

TEST(Synchronized, WaitTakesTheLockItself) {
    Synchronized lock;
    std::atomic<bool> woken = false;
    std::thread waiter([&] {
        lock.wait();
        woken = true;
    });
    EXPECT_TRUE(eventually([&] {
        lock.notify();
        return woken.load();
    }));
    waiter.join();
    EXPECT_EQ(std::nullopt, tryToTake(lock)) << "the waiter still holds the lock";
    release(lock);
}

struct Waiter : Thread {
    explicit Waiter(Synchronized& waitedFor) : lock(waitedFor) {}
    void run() override {
        while (!cancelled) {
        }
        lock.wait();
    }
    Synchronized& lock;
    std::atomic<bool> cancelled = false;
};

// Cancelled on the way to the wait and ended by it. One that is cancelled inside cannot be
// emulated: there the unwinding does not get past the signal's frame.
TEST(Synchronized, AThreadThatIsCancelledInItsWaitLeavesTheLockFree) {
    Synchronized lock;
    Waiter waiter(lock);
    waiter.start();
    waiter.cancel();
    waiter.cancelled = true;
    waiter.join();
    EXPECT_EQ(std::nullopt, tryToTake(lock));
    release(lock);
}

// Threads that wait on one condition, all of them known to wait.
class Waiters {
  public:
    explicit Waiters(Synchronized& lock) : lock_(lock) {
        for (std::thread& thread : threads_) thread = std::thread([this] { waitOnce(); });
        EXPECT_TRUE(eventually([this] { return entered_ == 3; }));
        const SynchronizedLock held(lock_);  // every one of them let go, so they all wait
    }
    ~Waiters() {
        lock_.notifyAll();
        for (std::thread& thread : threads_) thread.join();
    }

    bool eventuallyWoken(int count) {
        return eventually([&] { return woken_ == count; });
    }
    int woken() const { return woken_; }

  private:
    void waitOnce() {
        const SynchronizedLock held(lock_);
        ++entered_;
        lock_.waitLocked();
        ++woken_;
    }

    Synchronized& lock_;
    std::atomic<int> entered_ = 0;
    std::atomic<int> woken_ = 0;
    std::thread threads_[3];
};

TEST(Synchronized, NotifyWakesOneWaiter) {
    Synchronized lock;
    Waiters waiters(lock);
    lock.notify();
    EXPECT_TRUE(waiters.eventuallyWoken(1));
    lock.notify();
    EXPECT_TRUE(waiters.eventuallyWoken(2));
}

TEST(Synchronized, NotifyAllWakesEveryWaiter) {
    Synchronized lock;
    Waiters waiters(lock);
    lock.notifyAll();
    EXPECT_TRUE(waiters.eventuallyWoken(3));
}

TEST(Synchronized, ATimedWaitTellsThatTheTimeWasUp) {
    Synchronized lock;
    const SynchronizedLock held(lock);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(lock.waitLocked(20'000));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(19));
}

TEST(Synchronized, ATimedWaitOfNoTimeIsUpAtOnce) {
    Synchronized lock;
    const SynchronizedLock held(lock);
    EXPECT_FALSE(lock.waitLocked(0));
    EXPECT_FALSE(lock.waitLocked(-1'000'000));
}

TEST(Synchronized, ATimedWaitTellsThatItWasNotified) {
    constexpr std::int64_t oneHour = 3'600'000'000;
    Synchronized lock;
    std::atomic<bool> holding = false;
    bool notified = false;
    std::thread waiter([&] {
        const SynchronizedLock held(lock);
        holding = true;
        notified = lock.waitLocked(oneHour);
    });
    while (!holding) std::this_thread::yield();
    {
        const SynchronizedLock held(lock);
        lock.notify();
    }
    waiter.join();
    EXPECT_TRUE(notified);
}

#if !defined(__SANITIZE_THREAD__)  // which reports the destruction of a taken mutex, rightly
TEST(Synchronized, CanBeDestroyedByTheThreadThatHoldsIt) {
    auto lock = std::make_unique<Synchronized>();
    take(*lock);
    EXPECT_NO_THROW(lock.reset());
}
#endif

// The message with which destroying the object fails; empty when it does not.
template <class Destroy>
std::string failureOf(Destroy destroy) {
    try {
        destroy();
        return "";
    } catch (const SynchronizedException& e) {
        return e.getMessage();
    }
}

TEST(Synchronized, DestroyingItWhileAnotherThreadHoldsItThrowsAndLeavesItAlive) {
    alignas(Synchronized) std::byte memory[sizeof(Synchronized)];
    auto* const lock = new (memory) Synchronized;
    Holder holder(*lock);
    EXPECT_EQ("Deleting locked mutex", failureOf([&] { lock->~Synchronized(); }));
    EXPECT_EQ("Ressource already Locked", tryToTake(*lock));
    holder.release();
    EXPECT_EQ(std::nullopt, tryToTake(*lock));
    release(*lock);
}

TEST(Synchronized, DeletingItWhileAnotherThreadHoldsItThrowsAndKeepsTheMemory) {
    // Volatile, or the optimiser takes the pair for a mismatch of allocation and release.
    Synchronized* volatile const lock = new Synchronized;
    Holder holder(*lock);
    EXPECT_EQ("Deleting locked mutex", failureOf([&] { delete lock; }));
    holder.release();  // uses the memory
    ::operator delete(static_cast<void*>(lock));
}

struct Shared : Synchronized {
    explicit Shared(bool& flag) : destroyed(flag) {}
    ~Shared() noexcept(false) override { destroyed = true; }
    bool& destroyed;
};

TEST(Synchronized, ADerivedObjectIsDeletedAsAWhole) {
    bool destroyed = false;
    Synchronized* volatile const lock = new Shared(destroyed);
    delete lock;
    EXPECT_TRUE(destroyed);
}

}  // namespace
}  // namespace teskd::test
