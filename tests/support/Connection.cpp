#include "support/Connection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

#include "support/Address.h"
#include "support/Hex.h"

namespace teskd::test {

namespace {

constexpr std::size_t kBlock = 65536;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool pollFor(int fd, short events, int timeoutMs) {
    pollfd entry{fd, events, 0};
    return ::poll(&entry, 1, timeoutMs) > 0;
}

bool isReset(int error) {
    return error == ECONNRESET || error == EPIPE;
}

void bindTo(int fd, const std::string& host) {
    const sockaddr_in address = ipv4(host, 0);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("bind");
}

std::string arrived(const std::string& data) {
    return " after " + std::to_string(data.size()) + " bytes: " + hex(data);
}

}  // namespace

Connection::Connection(UniqueFd fd) : fd_(std::move(fd)) {
    const int on = 1;
    ::setsockopt(fd_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Connection Connection::to(std::uint16_t port, Deadline deadline) {
    return between("", kLoopback, port, deadline);
}

Connection Connection::between(const std::string& from, const std::string& to, std::uint16_t port,
                               Deadline deadline) {
    UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.valid()) fail("socket");
    if (!from.empty()) bindTo(fd.get(), from);
    const sockaddr_in address = ipv4(to, port);
    if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno != EINPROGRESS) fail("connect");
        if (!pollFor(fd.get(), POLLOUT, deadline.pollTimeout())) throw Timeout("connect");
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) throw std::system_error(error, std::generic_category(), "connect");
    return Connection(std::move(fd));
}

Connection Connection::connectEventually(std::uint16_t port, Deadline deadline) {
    Connection result;
    const auto attempt = [&] {
        try {
            result = to(port, deadline);
        } catch (const std::system_error&) {
            return false;
        }
        return true;
    };
    if (!eventually(attempt, deadline)) throw Timeout("nobody listens on the port");
    return result;
}

void Connection::sendAll(std::string_view data, Deadline deadline) {
    while (!data.empty()) {
        const ssize_t count =
            ::send(fd_.get(), data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            data.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            fail("send");
        } else if (!pollFor(fd_.get(), POLLOUT, deadline.pollTimeout())) {
            throw Timeout("the peer does not take the data");
        }
    }
}

void Connection::sendByteByByte(std::string_view data, Deadline deadline) {
    for (std::size_t i = 0; i < data.size(); ++i) sendAll(data.substr(i, 1), deadline);
}

bool Connection::readSome(std::string& into, std::size_t limit, Deadline deadline) {
    if (!pollFor(fd_.get(), POLLIN, deadline.pollTimeout())) {
        throw Timeout("nothing more arrived" + arrived(into));
    }
    std::string block(std::min(limit, kBlock), '\0');
    const ssize_t count = ::recv(fd_.get(), block.data(), block.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (count < 0) fail("recv");
    into.append(block, 0, static_cast<std::size_t>(count));
    return count > 0;
}

std::string Connection::readExactly(std::size_t count, Deadline deadline) {
    std::string result;
    while (result.size() < count) {
        if (!readSome(result, count - result.size(), deadline)) {
            throw std::runtime_error("closed by the peer" + arrived(result));
        }
    }
    return result;
}

std::string Connection::readUntilClosed(Deadline deadline) {
    std::string result;
    while (readSome(result, kBlock, deadline)) {
    }
    return result;
}

std::string Connection::readAvailable() {
    std::string result;
    while (readableWithin(std::chrono::milliseconds(0)) && readSome(result, kBlock, {})) {
    }
    return result;
}

bool Connection::readableWithin(std::chrono::milliseconds time) {
    return pollFor(fd_.get(), POLLIN, static_cast<int>(time.count()));
}

bool Connection::closedByPeer(Deadline deadline) {
    try {
        readUntilClosed(deadline);
    } catch (const Timeout&) {
        return false;
    } catch (const std::system_error& e) {
        return isReset(e.code().value());
    }
    return true;
}

void Connection::shutdownWrite() {
    ::shutdown(fd_.get(), SHUT_WR);
}

void Connection::reset() {
    const linger now{1, 0};
    ::setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    fd_.reset();
}

std::uint16_t Connection::localPort() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        fail("getsockname");
    }
    return ntohs(address.sin_port);
}

}  // namespace teskd::test
