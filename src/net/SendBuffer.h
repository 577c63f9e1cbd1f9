// Collects what goes to a socket and sends it, in pieces where the peer is slow.
#pragma once

#include "net/BufferedOutputStream.h"

namespace teskd {

class SocketOutputStream;

// A buffer that sends no byte twice. It does not know how much of a flush that failed had left, so
// the connection counts as lost from then on and nothing is sent any more.
//
// Threads: one at a time. Ownership: refers to the socket's stream. Errors: those of the socket's
// stream; every flush of a lost connection is a SocketConnectionClosedException.
class SendBuffer : public BufferedOutputStream {
  public:
    explicit SendBuffer(SocketOutputStream& socket);

    void flush() override;
    // What the system does not take now stays pending.
    bool flushAvailable() override;

  private:
    // Lost unless what follows succeeds.
    void beginSending();

    SocketOutputStream& socket_;
    bool lost_ = false;
};

}  // namespace teskd
