#include "bench/Sockets.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace teskd::bench {

namespace {

constexpr int BACKLOG = 1024;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

void disableNagle(const UniqueFd& socket) {
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

UniqueFd connectTo(std::uint16_t port) {
    UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.valid()) throwSystemError("socket");
    const sockaddr_in address = loopback(port);
    const auto* const name = reinterpret_cast<const sockaddr*>(&address);
    if (::connect(socket.get(), name, sizeof address) != 0) throwSystemError("connect");
    disableNagle(socket);
    return socket;
}

UniqueFd listenAnywhere() {
    UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.valid()) throwSystemError("socket");
    const sockaddr_in address = loopback(0);
    const auto* const name = reinterpret_cast<const sockaddr*>(&address);
    if (::bind(socket.get(), name, sizeof address) != 0) throwSystemError("bind");
    if (::listen(socket.get(), BACKLOG) != 0) throwSystemError("listen");
    return socket;
}

std::uint16_t portOf(const UniqueFd& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throwSystemError("getsockname");
    }
    return ntohs(address.sin_port);
}

UniqueFd acceptFrom(const UniqueFd& listener) {
    UniqueFd socket(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (socket.valid()) disableNagle(socket);
    return socket;
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

bool readExactly(int fd, char* buffer, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::read(fd, buffer, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        buffer += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

void drainUntilQuiet(int fd, int milliseconds) {
    pollfd entry{fd, POLLIN, 0};
    char dropped[4096];
    while (::poll(&entry, 1, milliseconds) > 0) {
        if (::read(fd, dropped, sizeof dropped) <= 0) return;
    }
}

}  // namespace teskd::bench
