#include "support/Listener.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace teskd::test {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

UniqueFd boundSocket(std::uint16_t port) {
    UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) fail("socket");
    const int on = 1;
    ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("bind");
    }
    return fd;
}

std::uint16_t boundPort(const UniqueFd& fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        fail("getsockname");
    }
    return ntohs(address.sin_port);
}

bool pollIn(int fd, std::chrono::milliseconds time) {
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace

Listener::Listener(std::uint16_t port, int backlog) : fd_(boundSocket(port)) {
    if (::listen(fd_.get(), backlog) != 0) fail("listen");
    port_ = boundPort(fd_);
}

Connection Listener::accept(Deadline deadline) {
    if (!pollIn(fd_.get(), deadline.left())) throw Timeout("nobody connected");
    UniqueFd fd(::accept4(fd_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!fd.valid()) fail("accept");
    return Connection(std::move(fd));
}

bool Listener::pendingWithin(std::chrono::milliseconds time) {
    return pollIn(fd_.get(), time);
}

TcpPair::TcpPair() {
    Listener listener;
    client = Connection::to(listener.port());
    server = listener.accept();
}

std::uint16_t freeTcpPort() {
    return boundPort(boundSocket(0));
}

}  // namespace teskd::test
