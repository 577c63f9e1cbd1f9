#include "net/ClientSocket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

#include "net/Poll.h"
#include "net/SocketAddress.h"
#include "net/SocketError.h"

namespace teskd {

ClientSocket::ClientSocket(int domain, int type, int protocol)
    : ClientSocket("0.0.0.0:0", domain, type, protocol) {}

ClientSocket::ClientSocket(const std::string& address, int domain, int type, int protocol)
    : Socket(domain, type, protocol), address_(address) {}

void ClientSocket::connect() {
    const SocketAddress address(address_);
    if (address.getHost().empty() || address.getHost() == "*") {
        throw UnknownHostException(address_);
    }
    const int error = connectTo(address.get());
    if (error != 0) throw ConnectException(std::strerror(error) + (": " + address_));
    connected_ = true;
}

// Connects in non-blocking mode, so that the interrupt event can end the wait.
int ClientSocket::connectTo(const sockaddr* address) {
    const int flags = fcntl(getDescriptor(), F_GETFL);
    fcntl(getDescriptor(), F_SETFL, flags | O_NONBLOCK);
    int error = 0;
    if (::connect(getDescriptor(), address, SocketAddress::SIZE) != 0) {
        error = errno == EINPROGRESS ? awaitConnection() : errno;
    }
    fcntl(getDescriptor(), F_SETFL, flags);
    return error;
}

int ClientSocket::awaitConnection() {
    if (Poll::wait(getDescriptor(), POLLOUT, Deadline::never(), getInterrupt()) < 0) return errno;
    return takePendingError();
}

}  // namespace teskd
