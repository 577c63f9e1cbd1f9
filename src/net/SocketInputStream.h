// The input stream of a socket.
#pragma once

#include "core/Descriptor.h"
#include "net/InputStream.h"

namespace teskd {

class Event;

// Reads from its own duplicate of a descriptor.
//
// Ownership: the duplicate is closed with the stream; the socket's own descriptor is not.
// Threads: one at a time. Errors: SocketException, SocketTimeoutException.
class SocketInputStream : public InputStream {
  public:
    SocketInputStream() = default;
    explicit SocketInputStream(int descriptor);
    SocketInputStream(const SocketInputStream& source);
    // Takes a duplicate of the source's descriptor; keeps its own time-out and stop event.
    SocketInputStream& operator=(const SocketInputStream& source);

    unsigned available() override;
    void close() override;
    int read() override;
    int read(char* buffer, int len) override;
    int skip(int n) override;
    void setTimeout(int milliseconds) override { timeout_ = milliseconds; }
    int getTimeout() override { return timeout_; }

    // A blocked read fails as soon as the event is set. Null: no interruption.
    void setInterrupt(const Event* interrupt) { interrupt_ = interrupt; }

  private:
    void waitForData();

    Descriptor descriptor_;
    int timeout_ = 0;  // milliseconds, 0: without limit
    const Event* interrupt_ = nullptr;
};

}  // namespace teskd
