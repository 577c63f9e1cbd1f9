// How much memory all hosts together can make the daemon hold.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <utility>

#include "core/Synchronized.h"
#include "dorn/HostLimits.h"

namespace teskd {

class Event;

// Two pools of bytes that the connections share, one for requests and one for answers. Neither
// takes from the other, so slow readers keep nobody from asking, and large requests cost nobody an
// answer. Each connection has an allowance of its own beside each pool; what it holds beyond that
// is taken from the pool. HostLimits has the sizes. The allowance for requests grows with the
// number of configured lines, since a request to every machine needs room for a message on each of
// them.
//
// Requests: bodies that are being read, and what waits for a machine.
// - Room for a request is taken whole, before its body is read: for the body, and for messages to
//   as many machines as it may ask. What it does not need of that comes back when the body has been
//   decoded, the rest when the request has been answered.
// - A connection that finds too little waits. Those that wait are served in the order in which they
//   came, and nobody who needs some of the pool overtakes them.
// - Within its allowance a connection never waits for others. With the largest pool, while it holds
//   some thirty small requests to one machine each, a further small request fits, also one to every
//   machine.
// - A connection that holds some of the pool already gets more of it only as long as an eighth of
//   the pool stays free, and those that hold none do not wait behind it. Otherwise one host with
//   many requests to a silent machine would keep all others from larger requests, for hours.
// - Nobody waits for ever: a connection that waits holds no part of what it waits for, and the
//   rooms come back whatever the others do, since machines have a time-out and answers never wait.
// - A request larger than the pool waits until the whole of it is free, and then exceeds it.
//
// Answers: what waits for its host.
// - An answer is taken at once and whole: who has one never waits for memory.
// - When an answer needs more than the pool has, the connection for which most waits is given up,
//   and so on until there is room. All it held counts as free at once.
// - A connection is not given up for its own answer while that is being added, so a single answer
//   may exceed the pool. It is given up when it begins another one while the pool is exceeded and
//   most waits for it.
// - A connection within its allowance is never given up here, nor does its answer cost another one.
// - As long as nobody needs its room, a connection may hold what it has and read at any pace.
//
// Owner: the DornDeamon; outlives the connections. Threads: any, but an account waits on its
// connection's thread alone. Locks: its own, innermost but for the events'.
class HostMemory {
  public:
    class Account;

    explicit HostMemory(const HostLimits& limits) : limits_(limits) {}

    const HostLimits& limits() const { return limits_; }

    // Bytes that are held for as long as the object lives. An empty one holds nothing.
    class Room {
      public:
        Room() = default;
        Room(Room&& other) noexcept
            : account_(std::exchange(other.account_, nullptr)), bytes_(other.bytes_) {}
        Room& operator=(Room&& other) noexcept {
            std::swap(account_, other.account_);
            std::swap(bytes_, other.bytes_);
            return *this;
        }
        ~Room();

        explicit operator bool() const { return account_ != nullptr; }
        // Gives back as many of them.
        void release(std::size_t bytes);

      private:
        friend class Account;
        Room(Account& account, std::size_t bytes) : account_(&account), bytes_(bytes) {}

        Account* account_ = nullptr;
        std::size_t bytes_ = 0;
    };

    // What one connection holds. Outlives the rooms it gave.
    class Account {
      public:
        // Refers to both. The event is set when a take() that got nothing is to be tried again, and
        // when the connection is given up.
        Account(HostMemory& memory, Event& wake);
        // Gives back what is left.
        ~Account();
        Account(const Account&) = delete;
        Account& operator=(const Account&) = delete;

        // Room for a request, or an empty one; then the connection waits in line until it takes
        // some or leaves.
        Room take(std::size_t bytes);
        // Leaves the line.
        void leave();

        // A part of an answer begins or stops waiting for its host.
        void addAnswer(std::size_t bytes);
        void removeAnswer(std::size_t bytes);
        // True when the pool is exceeded and most waits for this host: another answer is too much.
        bool hasTooManyAnswers() const;
        // True when what waits for this host is to be dropped, and its connection ended, since
        // others need the room. False again when nothing waits.
        bool isGivenUp() const { return givenUp_; }

        const HostLimits& limits() const { return memory_.limits_; }

      private:
        friend class HostMemory;
        friend class Room;

        HostMemory& memory_;
        Event& wake_;
        // Guarded by the memory's lock.
        std::list<Account*> ticket_{this};  // stands in the memory's line while it waits
        std::size_t held_ = 0;              // for requests
        std::size_t wanted_ = 0;            // while it waits
        std::size_t answers_ = 0;           // that wait
        std::atomic<bool> givenUp_{false};  // its answers are no longer part of the pool
    };

  private:
    static std::size_t beyond(std::size_t allowance, std::size_t bytes);
    // What further bytes take from a pool.
    static std::size_t needed(std::size_t allowance, std::size_t held, std::size_t bytes);
    bool fits(const Account& account, std::size_t bytes) const TESKD_REQUIRES(lock_);
    // Whether it holds more for requests than its allowance. The caller holds the lock, which the
    // analysis cannot follow into a search.
    bool usesPool(const Account& account) const;
    // The first that waits, and the first that waits and holds none of the pool; null for none.
    Account* firstInLine() const TESKD_REQUIRES(lock_);
    Account* firstWithoutPool() const TESKD_REQUIRES(lock_);
    void add(Account& account, std::size_t bytes) TESKD_REQUIRES(lock_);
    void giveBack(Account& account, std::size_t bytes);
    void leave(Account& account) TESKD_REQUIRES(lock_);
    // Tells who can go on.
    void wakeFirst() TESKD_REQUIRES(lock_);
    // Gives others up until the answers fit, or most waits for this one.
    void makeRoom(const Account& account) TESKD_REQUIRES(lock_);
    void giveUp(Account& account) TESKD_REQUIRES(lock_);
    // The one for which most waits.
    Account& largest() const TESKD_REQUIRES(lock_);

    const HostLimits limits_;
    mutable Synchronized lock_;
    std::size_t used_ TESKD_GUARDED_BY(lock_) = 0;     // of the requests' pool
    std::size_t answers_ TESKD_GUARDED_BY(lock_) = 0;  // used of the answers' pool
    std::list<Account*> accounts_ TESKD_GUARDED_BY(lock_);
    std::list<Account*> line_ TESKD_GUARDED_BY(lock_);  // who waits with a request
};

}  // namespace teskd
