// A list with a lock and a condition, shared between threads.
#pragma once

#include <algorithm>
#include <cstddef>
#include <list>

#include "core/Exception.h"
#include "core/Synchronized.h"

namespace teskd {

// A doubly linked list of pointers to listeners, timer tasks or packets.
//
// Ownership: does not own what its pointers point to.
// Threads: any number of producers and consumers. Each operation holds the lock for its own
// duration. Exceptions: lock, unlock, begin and end, for callers that iterate, and waitForElement
// and append, for callers that hold the lock. The lock is recursive, so a caller that iterates may
// call the other operations.
template <class T>
class SynchronizedList {
  public:
    using iterator = typename std::list<T>::iterator;

    SynchronizedList() = default;
    SynchronizedList(const SynchronizedList&) = delete;
    SynchronizedList& operator=(const SynchronizedList&) = delete;
    // @throws SynchronizedException when another thread holds the lock
    virtual ~SynchronizedList() noexcept(false) = default;

    // Appends the value and signals.
    void push_back(T value) {
        const SynchronizedLock lock(guard_);
        list_.push_back(value);
        guard_.notify();
    }

    // Appends the value, or moves it to the end if it is in the list already, and signals. Moving
    // allocates no memory, so it cannot fail and lose the value.
    void moveToBack(T value) {
        const SynchronizedLock lock(guard_);
        const auto found = std::find(list_.begin(), list_.end(), value);
        if (found == list_.end()) {
            list_.push_back(value);
        } else {
            list_.splice(list_.end(), list_, found);
        }
        guard_.notify();
    }

    // Erases every element equal to the value, signals, and returns how many there were.
    std::size_t remove(T value) {
        const SynchronizedLock lock(guard_);
        const std::size_t removed = list_.remove(value);
        guard_.notify();
        return removed;
    }

    std::size_t size() const {
        const SynchronizedLock lock(guard_);
        return list_.size();
    }

    // Removes the elements that match, in one pass, and returns them in their order. Allocates no
    // memory.
    template <class Predicate>
    std::list<T> extract(Predicate matches) {
        const SynchronizedLock lock(guard_);
        std::list<T> taken;
        for (auto position = list_.begin(); position != list_.end();) {
            const auto element = position++;
            if (matches(*element)) taken.splice(taken.end(), list_, element);
        }
        return taken;
    }

    bool isEmpty() const {
        const SynchronizedLock lock(guard_);
        return list_.empty();
    }

    // The first element, which stays in the list. @throws EmptyListException
    T& front() {
        const SynchronizedLock lock(guard_);
        if (list_.empty()) throw EmptyListException();
        return list_.front();
    }

    // Removes the first element and signals. @throws EmptyListException, leaving out unchanged
    void pop_front(T& out) {
        const SynchronizedLock lock(guard_);
        if (list_.empty()) throw EmptyListException();
        out = list_.front();
        list_.pop_front();
        guard_.notify();
    }

    // Waits on the condition once.
    void wait() { guard_.wait(); }

    // Waits until the list has an element or keepWaiting() returns false. True if there is an
    // element. The caller holds the lock exactly once, since waiting releases only one level of it.
    template <class Predicate>
    bool waitForElement(Predicate keepWaiting) TESKD_REQUIRES(guard_) {
        while (list_.empty() && keepWaiting()) guard_.waitLocked();
        return !list_.empty();
    }

    // Appends without signalling. The caller holds the lock and calls wakeOne after releasing it,
    // so that the woken thread does not block on the lock at once.
    void append(T value) TESKD_REQUIRES(guard_) { list_.push_back(value); }
    void wakeOne() { guard_.notify(); }

    // Wakes all waiting threads; each checks its condition again.
    void wakeAll() {
        const SynchronizedLock lock(guard_);
        guard_.notifyAll();
    }

    void lock() TESKD_ACQUIRE(guard_) { guard_.lock(); }
    void unlock() TESKD_RELEASE(guard_) { guard_.unlock(); }
    // The caller holds the lock. The thread-safety analysis cannot follow it in a loop over the
    // list.
    iterator begin() TESKD_NO_ANALYSIS { return list_.begin(); }
    iterator end() TESKD_NO_ANALYSIS { return list_.end(); }

    // The lock, for callers that combine several operations or wait on the condition.
    Synchronized& guard() TESKD_RETURNS_LOCK(guard_) { return guard_; }

  private:
    mutable Synchronized guard_;
    std::list<T> list_ TESKD_GUARDED_BY(guard_);
};

}  // namespace teskd
