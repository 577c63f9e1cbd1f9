// The one container that threads share: a locked list of plain pointers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <list>

#include "core/Exception.h"
#include "core/Synchronized.h"

namespace teskd {

// A doubly linked list with a lock and a condition of its own. Holds listeners, timer tasks and
// packets.
//
// Ownership: never owns what its pointers point to.
// Threads: any number of producers and consumers; every operation takes the lock itself, for the
// list operation alone, except lock, unlock, begin and end, which serve a caller that walks the
// list, and waitForElement and append. The lock is recursive, so a walker may call the other
// operations.
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

    // Appends the value, or moves it to the end when it is there already, and signals. What is
    // moved needs no memory, so it cannot get lost.
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

    // Erases every element equal to the value, signals, and tells how many there were.
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

    // Takes out every element that the predicate says yes to, in one walk, and hands them over in
    // their order. Needs no memory.
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

    // The first element, which stays. @throws EmptyListException
    T& front() {
        const SynchronizedLock lock(guard_);
        if (list_.empty()) throw EmptyListException();
        return list_.front();
    }

    // Takes the first element out and signals. @throws EmptyListException, out untouched
    void pop_front(T& out) {
        const SynchronizedLock lock(guard_);
        if (list_.empty()) throw EmptyListException();
        out = list_.front();
        list_.pop_front();
        guard_.notify();
    }

    // Waits on the condition once.
    void wait() { guard_.wait(); }

    // For a caller who holds the lock, once: waits until the list has an element or keepWaiting()
    // says no. True when there is an element, which stays while the lock is held.
    template <class Predicate>
    bool waitForElement(Predicate keepWaiting) TESKD_REQUIRES(guard_) {
        while (list_.empty() && keepWaiting()) guard_.waitLocked();
        return !list_.empty();
    }

    // For a caller who holds the lock: appends without a signal, which is to follow when the lock
    // is free, so that who is woken does not find it taken.
    void append(T value) TESKD_REQUIRES(guard_) { list_.push_back(value); }
    void wakeOne() { guard_.notify(); }

    // Makes every waiter look again.
    void wakeAll() {
        const SynchronizedLock lock(guard_);
        guard_.notifyAll();
    }

    void lock() TESKD_ACQUIRE(guard_) { guard_.lock(); }
    void unlock() TESKD_RELEASE(guard_) { guard_.unlock(); }
    // Under the lock, which the compiler cannot see in a loop over the list.
    iterator begin() TESKD_NO_ANALYSIS { return list_.begin(); }
    iterator end() TESKD_NO_ANALYSIS { return list_.end(); }

    // The lock itself, for a caller that combines several operations or waits on the condition.
    Synchronized& guard() TESKD_RETURNS_LOCK(guard_) { return guard_; }

  private:
    mutable Synchronized guard_;
    std::list<T> list_ TESKD_GUARDED_BY(guard_);
};

}  // namespace teskd
