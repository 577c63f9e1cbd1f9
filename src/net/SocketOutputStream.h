// The writing end of a socket.
#pragma once

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
    // A waiting write fails as soon as the event is set. Null: nothing interrupts.
    void setInterrupt(const StopEvent* interrupt) { interrupt_ = interrupt; }

  private:
    void writeAll(const char* buffer, std::size_t len, const char* signature);
    std::size_t writeSome(const char* buffer, std::size_t len, const char* signature);

    Descriptor descriptor_;
    int timeout_ = 0;  // milliseconds
    const StopEvent* interrupt_ = nullptr;
};

}  // namespace teskd
