// The output stream of a socket.
#pragma once

#include "core/Deadline.h"
#include "core/Descriptor.h"
#include "net/OutputStream.h"

namespace teskd {

class Event;

// Writes to its own duplicate of a descriptor, without a buffer.
//
// Ownership: the duplicate is closed with the stream; the socket's own descriptor is not.
// Threads: one at a time. Errors: SocketConnectionClosedException when the peer has disconnected,
// SocketException otherwise.
class SocketOutputStream : public OutputStream {
  public:
    SocketOutputStream() = default;
    explicit SocketOutputStream(int descriptor);
    SocketOutputStream(const SocketOutputStream& source);
    SocketOutputStream& operator=(const SocketOutputStream& source);

    void close() override;
    void write(int b) override;
    void write(const char* buffer, std::size_t len) override;
    using OutputStream::write;
    // Writes as many bytes as the system accepts without blocking; the count, possibly 0.
    std::size_t writeAvailable(const char* buffer, std::size_t len);

    // Longest time, in milliseconds, that one write may take in all; 0: without limit. After it the
    // write fails with the system's text for ETIMEDOUT.
    void setTimeout(int milliseconds) { timeout_ = milliseconds; }
    // Once it has passed, every write fails in the same way, including one in progress, whatever
    // the time-out and even if the system would accept the bytes.
    void setDeadline(Deadline deadline) { deadline_ = deadline; }
    // A blocked write fails as soon as the event is set. Null: no interruption.
    void setInterrupt(const Event* interrupt) { interrupt_ = interrupt; }

  private:
    void writeAll(const char* buffer, std::size_t len, const char* signature);
    std::size_t writeSome(const char* buffer, std::size_t len, const char* signature);

    Descriptor descriptor_;
    int timeout_ = 0;  // milliseconds
    Deadline deadline_ = Deadline::never();
    const Event* interrupt_ = nullptr;
};

}  // namespace teskd
