// Buffers the output to a socket and can send it in pieces, without blocking.
#pragma once

#include "net/BufferedOutputStream.h"

namespace teskd {

class SocketOutputStream;

// Sends no byte twice: after a failed flush we cannot know how much was sent, so the connection is
// unusable and nothing more is sent.
//
// Threads: one at a time. Ownership: refers to the socket's stream. Errors: those of the socket's
// stream; after a failed flush every flush throws SocketConnectionClosedException.
class SendBuffer : public BufferedOutputStream {
  public:
    explicit SendBuffer(SocketOutputStream& socket);

    void flush() override;
    // Bytes that the system does not accept now stay pending.
    bool flushAvailable() override;

  private:
    // Marks the connection as unusable; the caller clears that when sending has succeeded.
    void beginSending();

    SocketOutputStream& socket_;
    bool unusable_ = false;
};

}  // namespace teskd
