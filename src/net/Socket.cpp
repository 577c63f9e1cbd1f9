#include "net/Socket.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include "core/BrokenPipe.h"
#include "core/Event.h"
#include "net/Poll.h"
#include "net/SocketAddress.h"
#include "net/SocketError.h"

namespace teskd {

namespace {

constexpr const char* SELECT =
    "static void Socket::select(std::list<Socket*, std::allocator<Socket*> >&, "
    "std::list<Socket*, std::allocator<Socket*> >&, "
    "std::list<Socket*, std::allocator<Socket*> >&, timeval*)";

constexpr std::int64_t LONGEST_WAIT = 1'000'000;  // seconds

Deadline toDeadline(const timeval* timeout) {
    if (timeout == nullptr) return Deadline::never();
    const std::int64_t whole = std::min<std::int64_t>(timeout->tv_sec, LONGEST_WAIT);
    return Deadline::after(std::chrono::seconds(whole) +
                           std::chrono::microseconds(timeout->tv_usec));
}

void append(std::vector<pollfd>& entries, const std::list<Socket*>& sockets, short events) {
    for (const Socket* socket : sockets) entries.push_back({socket->getDescriptor(), events, 0});
}

void keepReady(std::list<Socket*>& sockets, const std::vector<pollfd>& entries) {
    auto entry = entries.begin();
    sockets.remove_if([&entry](const Socket*) { return (entry++)->revents == 0; });
}

}  // namespace

Socket::Socket(int domain, int type, int protocol)
    : domain_(domain), type_(type), protocol_(protocol) {
    initAttributes();
}

void Socket::initAttributes() {
    descriptor_.reset(::socket(domain_, type_ | SOCK_CLOEXEC, protocol_));
    if (!descriptor_.isOpen()) throwSocketError("void Socket::initAttributes()");
    rebuildStreams();
    surviveBrokenPipes();
}

Socket::Socket(const Socket& source)
    : domain_(source.domain_),
      type_(source.type_),
      protocol_(source.protocol_),
      input_(source.input_),
      output_(source.output_),
      descriptor_(duplicateDescriptor(source.descriptor_.get(), "Socket::Socket(const Socket&)")),
      interrupt_(source.interrupt_) {}

Socket& Socket::operator=(const Socket& source) {
    if (this == &source) return *this;
    domain_ = source.domain_;
    type_ = source.type_;
    protocol_ = source.protocol_;
    descriptor_.reset();
    descriptor_.reset(
        duplicateDescriptor(source.descriptor_.get(), "Socket& Socket::operator=(const Socket&)"));
    input_ = source.input_;
    output_ = source.output_;
    return *this;
}

Socket Socket::accept() {
    throw SocketOperationNotImplException("accept");
}

void Socket::bind() {
    throw SocketOperationNotImplException("bind");
}

void Socket::connect() {
    throw SocketOperationNotImplException("connect");
}

void Socket::listen() {
    throw SocketOperationNotImplException("listen");
}

void Socket::shutdown(int how) {
    if (::shutdown(descriptor_.get(), how) != 0)
        throwSocketError("virtual void Socket::shutdown(int)");
}

void Socket::shutdownQuietly() noexcept {
    ::shutdown(descriptor_.get(), SHUT_RDWR);
}

void Socket::close() {
    output_.close();
    input_.close();
    if (descriptor_.close() != 0) throwSocketError("virtual void Socket::close()");
}

std::string Socket::getpeername() const {
    constexpr const char* SIGNATURE = "std::string Socket::getpeername()";
    sockaddr_storage address{};
    socklen_t size = SocketAddress::SIZE;
    if (::getpeername(descriptor_.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throwSocketError(SIGNATURE);
    }
    return SocketAddress::toText(address, SIGNATURE);
}

std::string Socket::getsockname() const {
    constexpr const char* SIGNATURE = "std::string Socket::getsockname()";
    sockaddr_storage address{};
    socklen_t size = SocketAddress::SIZE;
    if (::getsockname(descriptor_.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throwSocketError(SIGNATURE);
    }
    return SocketAddress::toText(address, SIGNATURE);
}

std::optional<std::uint32_t> Socket::getPeerAddress() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    const int result =
        ::getpeername(descriptor_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    if (result != 0 || address.sin_family != AF_INET) return {};
    return ntohl(address.sin_addr.s_addr);
}

void Socket::getsockopt(int name, int& value) const {
    socklen_t size = sizeof value;
    if (::getsockopt(descriptor_.get(), IPPROTO_TCP, name, &value, &size) != 0) {
        throwSocketError("void Socket::getsockopt(int, int&)");
    }
}

void Socket::setsockopt(int name, int value) {
    setsockopt(IPPROTO_TCP, name, value);
}

void Socket::setsockopt(int level, int name, int value) {
    if (::setsockopt(descriptor_.get(), level, name, &value, sizeof value) != 0) {
        throwSocketError("void Socket::setsockopt(int, int)");
    }
}

// The system sends probes only while no data is unacknowledged, so TCP_USER_TIMEOUT limits that
// case.
void Socket::keepAlive(std::chrono::milliseconds limit) {
    constexpr int PROBES = 4;  // sent in the second half of the limit, if the first was silent
    const int milliseconds = static_cast<int>(limit.count());
    setsockopt(SOL_SOCKET, SO_KEEPALIVE, 1);
    setsockopt(TCP_KEEPIDLE, std::max(1, milliseconds / 2000));
    setsockopt(TCP_KEEPINTVL, std::max(1, milliseconds / 2000 / PROBES));
    setsockopt(TCP_KEEPCNT, PROBES);
    setsockopt(TCP_USER_TIMEOUT, milliseconds);
}

unsigned Socket::unacknowledged() const {
    int count = 0;
    if (::ioctl(descriptor_.get(), SIOCOUTQ, &count) != 0) {
        throwSocketError("unsigned int Socket::unacknowledged() const");
    }
    return static_cast<unsigned>(count);
}

int Socket::takePendingError() {
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(descriptor_.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        throwSocketError("void Socket::getsockopt(int, int&)");
    }
    return error;
}

void Socket::select(std::list<Socket*>& read, std::list<Socket*>& write, std::list<Socket*>& except,
                    timeval* timeout, const Event* interrupt) {
    std::vector<pollfd> entries;
    append(entries, read, POLLIN);
    append(entries, write, POLLOUT);
    append(entries, except, POLLPRI);
    if (interrupt != nullptr) entries.push_back({interrupt->descriptor(), POLLIN, 0});
    const auto closed = [](const pollfd& entry) { return entry.fd < 0; };
    if (std::any_of(entries.begin(), entries.end(), closed)) throwSocketError(SELECT, EBADF);
    if (timeout != nullptr && (timeout->tv_sec < 0 || timeout->tv_usec < 0)) {
        throwSocketError(SELECT, EINVAL);
    }
    const int ready = Poll::wait(entries, toDeadline(timeout));
    if (ready < 0) throwSocketError(SELECT);
    if (ready == 0) {
        write.clear();
        except.clear();
    }
    keepReady(read, entries);
}

void Socket::setDescriptor(int fd) {
    descriptor_.reset(fd);
    rebuildStreams();
}

void Socket::rebuildStreams() {
    output_ = SocketOutputStream(descriptor_.get());
    input_ = SocketInputStream(descriptor_.get());
}

void Socket::setInterrupt(const Event* interrupt) {
    interrupt_ = interrupt;
    input_.setInterrupt(interrupt);
    output_.setInterrupt(interrupt);
}

}  // namespace teskd
