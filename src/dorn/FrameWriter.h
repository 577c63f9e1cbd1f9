// Sends frames on a host connection, whole and one after another.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "core/Deadline.h"
#include "core/Synchronized.h"
#include "dorn/HostMemory.h"
#include "net/OutputStream.h"

namespace teskd {

class LogSource;
class Socket;
class Event;

// Each write() of a block is one frame. It sends what the socket takes without waiting and queues
// the rest for the connection's own thread, so a thread that has an answer never waits for a host.
//
// A host is given up, by the connection's thread, when its system acknowledges nothing for the
// time-out while bytes are queued, or when most bytes are queued for it and another answer needs
// the room (HostMemory).
//
// Progress is measured by acknowledgements, since nothing else tells a slow host from one that has
// stopped reading. The system of a slow host acknowledges in jumps, many seconds apart, and the
// socket becomes writable later still: when a good part of its buffer is free.
//
// Owner: a Dorn. Threads: write() from any; sendQueued() and nextCheck() on the connection's
// own. Locks: its own, innermost but for the memory's and the event's; held during sends, which do
// not block, and never during a wait. Errors: none are thrown. The first failure is logged and
// shuts the connection down, and what is queued is dropped.
class FrameWriter : public OutputStream {
  public:
    // Longest time that a host may acknowledge nothing while bytes are queued. At 1 kB/s there are
    // up to 25 s between two acknowledgements.
    static constexpr std::chrono::milliseconds SEND_TIMEOUT{60'000};

    // Refers to all of them. What is queued counts on the account. The event is set when the
    // connection's thread has something to send; the source writes the line about the failure.
    FrameWriter(Socket& connection, Event& wake, HostMemory::Account& account, LogSource& log,
                std::chrono::milliseconds timeout = SEND_TIMEOUT)
        : connection_(connection), wake_(wake), account_(account), log_(log), timeout_(timeout) {}
    ~FrameWriter() noexcept override = default;

    using OutputStream::write;
    void write(const char* frame, std::size_t len) override;

    // To be called before each answer's first frame. Gives the host up when answers take too much
    // memory and this host has the most. Checked only here, so an answer that has begun is accepted
    // whole, however large it is.
    void beginAnswer();

    // Ends the connection when an answer was lost, so that the host notices. Only the first call
    // has an effect.
    void giveUp(const char* problem);

    // Sends what the socket takes now. Returns the number of bytes that are still queued.
    std::size_t sendQueued();
    // When sendQueued() is to be called again to check the acknowledgements, while bytes are
    // queued.
    Deadline nextCheck() const;

  private:
    // Checks of the acknowledgements within one time-out.
    static constexpr int CHECKS = 60;

    void enqueue(std::string frame) TESKD_REQUIRES(lock_);
    // @throws SocketException when the host is to be given up
    void send() TESKD_REQUIRES(lock_);
    std::size_t offer(const char* bytes, std::size_t len) TESKD_REQUIRES(lock_);
    // Checks the acknowledgements when that is due. @throws SocketException when the host is to be
    // given up
    void checkProgress() TESKD_REQUIRES(lock_);
    std::uint64_t acknowledged() const TESKD_REQUIRES(lock_);

    Socket& connection_;
    Event& wake_;
    HostMemory::Account& account_;
    LogSource& log_;
    std::chrono::milliseconds timeout_;
    mutable Synchronized lock_;
    std::deque<std::string> frames_ TESKD_GUARDED_BY(lock_);
    std::size_t sent_ TESKD_GUARDED_BY(lock_) = 0;  // bytes of the first frame that were sent
    std::atomic<std::size_t> queued_{0};            // bytes; changed under the lock
    // Bytes that the system accepted in all, and how many of them were acknowledged at the last
    // check.
    std::uint64_t taken_ TESKD_GUARDED_BY(lock_) = 0;
    std::uint64_t acknowledged_ TESKD_GUARDED_BY(lock_) = 0;
    Deadline nextCheck_ TESKD_GUARDED_BY(lock_) = Deadline::passed();
    Deadline giveUpAt_ TESKD_GUARDED_BY(lock_) = Deadline::never();  // unless there is progress
    bool broken_ TESKD_GUARDED_BY(lock_) = false;
};

}  // namespace teskd
