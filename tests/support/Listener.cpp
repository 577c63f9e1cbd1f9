#include "support/Listener.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

#include "support/Address.h"
#include "tesksim/Endpoint.h"

namespace teskd::test {

namespace {

constexpr int kBacklog = 16;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool pollIn(int fd, std::chrono::milliseconds time) {
    pollfd entry{fd, POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace

Listener::Listener(std::uint16_t port, int backlog) : fd_(tesksim::bindPort(port)) {
    if (::listen(fd_.get(), backlog) != 0) fail("listen");
    port_ = tesksim::portOf(fd_);
}

Listener::Listener(const std::string& host, std::uint16_t port)
    : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = ipv4(host, port);
    const auto* const raw = reinterpret_cast<const sockaddr*>(&address);
    if (::bind(fd_.get(), raw, sizeof address) != 0) fail("bind");
    if (::listen(fd_.get(), kBacklog) != 0) fail("listen");
    port_ = tesksim::portOf(fd_);
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

ReservedPort::ReservedPort() : fd_(tesksim::bindPort(0)), number_(tesksim::portOf(fd_)) {}

std::uint16_t freeTcpPort() {
    return tesksim::portOf(tesksim::bindPort(0));
}

}  // namespace teskd::test
