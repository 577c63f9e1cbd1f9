// The writing end of a socket.
#pragma once

#include <chrono>

#include "core/Descriptor.h"
#include "net/OutputStream.h"

namespace teskd {

class StopEvent;

// Writes straight through its own duplicate of a descriptor; nothing is buffered.
//
// Ownership: the duplicate is closed with the stream; the socket's own descriptor is not.
// Threads: one at a time. Errors: SocketConnectionClosedException when the peer has gone away,
// SocketException otherwise.
class SocketOutputStream : public OutputStream {
  public:
    using Clock = std::chrono::steady_clock;

    SocketOutputStream() = default;
    explicit SocketOutputStream(int descriptor);
    SocketOutputStream(const SocketOutputStream& source);
    SocketOutputStream& operator=(const SocketOutputStream& source);

    void close() override;
    void write(int b) override;
    void write(const char* buffer, std::size_t len) override;
    using OutputStream::write;
    // Writes what the system takes now, without waiting; the count of bytes, 0 when it takes none.
    std::size_t writeAvailable(const char* buffer, std::size_t len);

    // Longest time, in milliseconds, that one write may take in all; 0: without limit. When it is
    // over, the write fails with the system's text for ETIMEDOUT.
    void setTimeout(int milliseconds) { timeout_ = milliseconds; }
    // The time at which every write fails in that way at the latest, whatever the time-out says and
    // even if the system would take the bytes. Clock::time_point::max(): none.
    void setDeadline(Clock::time_point deadline) { deadline_ = deadline; }
    // A waiting write fails as soon as the event is set. Null: nothing interrupts.
    void setInterrupt(const StopEvent* interrupt) { interrupt_ = interrupt; }

  private:
    void writeAll(const char* buffer, std::size_t len, const char* signature);
    // The time at which a write that begins now has to be over; the clock's maximum: never.
    Clock::time_point endOfWrite(Clock::time_point now) const;
    std::size_t writeSome(const char* buffer, std::size_t len, const char* signature);

    Descriptor descriptor_;
    int timeout_ = 0;  // milliseconds
    Clock::time_point deadline_ = Clock::time_point::max();
    const StopEvent* interrupt_ = nullptr;
};

}  // namespace teskd
