// Sends frames on a host connection, whole and one after another.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "core/Synchronized.h"
#include "dorn/HostMemory.h"
#include "net/OutputStream.h"

namespace teskd {

class NoticeLimiter;
class Socket;
class StopEvent;

// Each write() of a block is one frame. The thread that brings it sends what the host takes at once
// and leaves the rest to the connection's own thread, so nobody who has an answer ever waits for a
// host; the frames are kept only for that. A host whose system acknowledges nothing for the
// time-out while frames wait is given up, and so is the one for which most waits when another
// answer needs the room (HostMemory). The connection's thread gives it up then.
//
// Only acknowledgements tell a slow host from one that has stopped reading. The system of a slow
// one acknowledges in jumps, many seconds apart, and this end's buffer is writable later still:
// when a good part of it is free.
//
// Owner: a Dorn. Threads: write() from any; sendQueued() and patience() on the connection's own.
// Locks: its own, innermost but for the memory's and the event's; held while the system is offered
// bytes, never while anybody waits. Errors: none leave. The first failure is logged, shuts the
// connection down, and what is still to be sent is dropped.
class FrameWriter : public OutputStream {
  public:
    // Longest time a host may acknowledge nothing while something waits for it. At 1 kB/s there are
    // up to 25 s between two acknowledgements.
    static constexpr std::chrono::milliseconds SEND_TIMEOUT{60'000};

    // Refers to all of them; what waits is on the account. The event is set when the connection's
    // thread has something to send; the limiter, if any, bounds the line about the failure with
    // those of other connections.
    FrameWriter(Socket& connection, StopEvent& wake, HostMemory::Account& account,
                std::chrono::milliseconds timeout = SEND_TIMEOUT, NoticeLimiter* notices = nullptr)
        : connection_(connection),
          wake_(wake),
          account_(account),
          timeout_(timeout),
          notices_(notices) {}
    ~FrameWriter() noexcept override = default;

    using OutputStream::write;
    void write(const char* frame, std::size_t len) override;

    // Called in front of each answer's first frame. Gives the host up when answers take too much
    // memory and most of it waits for this one; an answer that has begun is taken whole, however
    // large it is.
    void beginAnswer();

    // Ends the connection: an answer is lost, and the host is to know. Only the first time counts.
    void giveUp(const char* problem);

    // Sends what the host takes now; the count of bytes that still wait.
    std::size_t sendQueued();
    // Milliseconds until sendQueued() is to be called again, while bytes wait.
    int patience() const;

  private:
    using Clock = std::chrono::steady_clock;

    // The acknowledgements are looked at that often within a time-out.
    static constexpr int LOOKS = 60;

    void enqueue(std::string frame) TESKD_REQUIRES(lock_);
    // @throws SocketException when the host is to be given up
    void send() TESKD_REQUIRES(lock_);
    std::size_t offer(const char* bytes, std::size_t len) TESKD_REQUIRES(lock_);
    // Notes what was acknowledged, when it is time to. @throws SocketException when the host is to
    // be given up
    void look() TESKD_REQUIRES(lock_);
    std::uint64_t acknowledged() const TESKD_REQUIRES(lock_);

    Socket& connection_;
    StopEvent& wake_;
    HostMemory::Account& account_;
    std::chrono::milliseconds timeout_;
    NoticeLimiter* notices_;
    mutable Synchronized lock_;
    std::deque<std::string> frames_ TESKD_GUARDED_BY(lock_);
    std::size_t sent_ TESKD_GUARDED_BY(lock_) = 0;  // bytes of the first frame that are out
    std::atomic<std::size_t> queued_{0};            // bytes that wait; changed under the lock
    // Bytes that the system took over in all, and how many of them were acknowledged at the last
    // look. The times are that of the look that found the count changed, and of the next look.
    std::uint64_t taken_ TESKD_GUARDED_BY(lock_) = 0;
    std::uint64_t acknowledged_ TESKD_GUARDED_BY(lock_) = 0;
    Clock::time_point progress_ TESKD_GUARDED_BY(lock_);
    Clock::time_point nextLook_ TESKD_GUARDED_BY(lock_);
    bool broken_ TESKD_GUARDED_BY(lock_) = false;
};

}  // namespace teskd
