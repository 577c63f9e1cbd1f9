#include "net/SendBuffer.h"

#include "core/Exception.h"
#include "net/SocketOutputStream.h"

namespace teskd {

SendBuffer::SendBuffer(SocketOutputStream& socket)
    : BufferedOutputStream(socket), socket_(socket) {}

void SendBuffer::flush() {
    beginSending();
    BufferedOutputStream::flush();
    unusable_ = false;
}

bool SendBuffer::flushAvailable() {
    if (pending().empty()) return true;
    beginSending();
    written(socket_.writeAvailable(pending().data(), pending().size()));
    unusable_ = false;
    return pending().empty();
}

void SendBuffer::beginSending() {
    if (unusable_) throw SocketConnectionClosedException("SocketConnectionClosedException");
    unusable_ = true;
}

}  // namespace teskd
