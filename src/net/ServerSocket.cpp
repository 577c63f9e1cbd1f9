#include "net/ServerSocket.h"

#include <cerrno>
#include <cstring>

#include "net/SocketAddress.h"
#include "net/SocketError.h"

namespace teskd {

ServerSocket::ServerSocket(int domain, int type, int protocol)
    : ServerSocket("0.0.0.0:0", domain, type, protocol) {}

ServerSocket::ServerSocket(const std::string& address, int domain, int type, int protocol)
    : Socket(domain, type, protocol), address_(address) {
    ServerSocket::bind();
    ServerSocket::listen();
}

Socket ServerSocket::accept() {
    Socket connection(*this);
    sockaddr_storage peer{};
    socklen_t size = SocketAddress::SIZE;
    const int fd =
        ::accept4(getDescriptor(), reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
    if (fd < 0) throwSocketError("virtual Socket ServerSocket::accept()");
    connection.setDescriptor(fd);
    return connection;
}

void ServerSocket::bind() {
    SocketAddress address(address_);
    if (address.getHost().empty() || address.getHost() == "*") address.useAnyHost();
    setsockopt(SOL_SOCKET, SO_REUSEADDR, 1);
    if (::bind(getDescriptor(), address.get(), SocketAddress::SIZE) != 0) {
        throw BindException(std::string("virtual void ServerSocket::bind()") +
                            std::strerror(errno));
    }
}

void ServerSocket::listen() {
    constexpr int BACKLOG = 5;
    if (::listen(getDescriptor(), BACKLOG) != 0) {
        throwSocketError("virtual void ServerSocket::listen()");
    }
}

}  // namespace teskd
