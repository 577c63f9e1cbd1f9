// How much memory all hosts together can make the daemon hold.
#pragma once

#include <cstddef>
#include <list>
#include <utility>

#include "core/Synchronized.h"

namespace teskd {

class StopEvent;

// A pool of bytes that the connections share, for bodies that are being read, for requests that
// wait for a machine, and for answers that wait for their host. Each connection has an allowance of
// its own beside it, so that one whose requests are small is served whatever the others do.
//
// What a connection holds beyond its allowance comes from the pool. Room for a request is taken
// whole, before its body is read, so two large bodies never wait for each other; connections that
// have to wait are served in the order in which they came. Room for what a request leads to, its
// messages and its answers, is never waited for: it may exceed the pool, and then nobody gets more
// before enough was given back.
//
// Owner: the DornDeamon; outlives the connections. Threads: any, but an account waits on its
// connection's thread alone. Locks: its own, innermost but for the events'.
class HostMemory {
  public:
    // Enough for the largest body there is. A request that needs more takes the whole pool.
    static constexpr std::size_t CAPACITY = std::size_t{16} * 1024 * 1024;
    // Bytes that each connection may hold beside the pool.
    static constexpr std::size_t ALLOWANCE = std::size_t{64} * 1024;

    class Account;

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
        // More room for the same connection, without waiting.
        Room another(std::size_t bytes) const;

      private:
        friend class Account;
        Room(Account& account, std::size_t bytes) : account_(&account), bytes_(bytes) {}

        Account* account_ = nullptr;
        std::size_t bytes_ = 0;
    };

    // What one connection holds. Outlives the rooms it gave.
    class Account {
      public:
        // Refers to both. The event is set when a take() that got nothing is to be tried again.
        Account(HostMemory& memory, StopEvent& wake) : memory_(memory), wake_(wake) {}
        // Gives back what is left.
        ~Account();
        Account(const Account&) = delete;
        Account& operator=(const Account&) = delete;

        // Room for a request, or an empty one; then the connection waits in line until it takes
        // some or leaves.
        Room take(std::size_t bytes);
        // Leaves the line.
        void leave();

        // An answer begins or stops waiting for its host.
        void addAnswer(std::size_t bytes);
        void removeAnswer(std::size_t bytes);
        // True when this host's answers exceed its allowance, and those of all hosts the pool.
        bool hasTooManyAnswers() const;

      private:
        friend class HostMemory;
        friend class Room;

        HostMemory& memory_;
        StopEvent& wake_;
        // Guarded by the memory's lock.
        std::list<Account*> ticket_{this};  // stands in the memory's line while it waits
        std::size_t held_ = 0;
        std::size_t answers_ = 0;  // part of what is held
        std::size_t wanted_ = 0;   // while it waits
    };

  private:
    static std::size_t beyondAllowance(std::size_t bytes);
    // What the bytes take from the pool.
    static std::size_t needed(const Account& account, std::size_t bytes);
    bool fits(const Account& account, std::size_t bytes) const TESKD_REQUIRES(lock_);
    void add(Account& account, std::size_t bytes) TESKD_REQUIRES(lock_);
    void giveBack(Account& account, std::size_t bytes);
    void leave(Account& account) TESKD_REQUIRES(lock_);
    // Tells who can go on.
    void wakeFirst() TESKD_REQUIRES(lock_);

    mutable Synchronized lock_;
    std::size_t used_ TESKD_GUARDED_BY(lock_) = 0;     // of the pool
    std::size_t answers_ TESKD_GUARDED_BY(lock_) = 0;  // of all accounts
    std::list<Account*> line_ TESKD_GUARDED_BY(lock_);
};

}  // namespace teskd
