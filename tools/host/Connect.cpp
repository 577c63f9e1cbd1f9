#include "host/Connect.h"

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

#include "host/LinkError.h"

namespace teskhost {

namespace {

using Milliseconds = std::chrono::milliseconds;
using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

Addresses resolve(const Endpoint& endpoint) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int status = ::getaddrinfo(endpoint.address.c_str(),
                                     std::to_string(endpoint.port).c_str(), &hints, &found);
    if (status != 0) {
        throw LinkError(std::string("the address is not known: ") + ::gai_strerror(status));
    }
    return {found, &::freeaddrinfo};
}

// 0, or the error number of the failed connection.
int awaitConnection(const tools::UniqueFd& socket, Milliseconds patience) {
    pollfd entry{socket.get(), POLLOUT, 0};
    const int ready = ::poll(&entry, 1, static_cast<int>(patience.count()));
    if (ready < 0) return errno;
    if (ready == 0) return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 ? errno : error;
}

int connectOne(const tools::UniqueFd& socket, const addrinfo& address, Milliseconds patience) {
    if (!socket.valid()) return errno;
    if (::connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0) return 0;
    return errno == EINPROGRESS ? awaitConnection(socket, patience) : errno;
}

void makeBlocking(const tools::UniqueFd& socket, Milliseconds patience) {
    ::fcntl(socket.get(), F_SETFL, ::fcntl(socket.get(), F_GETFL) & ~O_NONBLOCK);
    constexpr Milliseconds::rep second = 1000;
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(patience.count() / second);
    limit.tv_usec = static_cast<suseconds_t>(patience.count() % second * second);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

}  // namespace

tools::UniqueFd connectTo(const Endpoint& endpoint, Milliseconds patience) {
    const Addresses addresses = resolve(endpoint);
    int error = EHOSTUNREACH;
    for (const addrinfo* entry = addresses.get(); entry != nullptr; entry = entry->ai_next) {
        tools::UniqueFd socket(
            ::socket(entry->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        error = connectOne(socket, *entry, patience);
        if (error != 0) continue;
        makeBlocking(socket, patience);
        return socket;
    }
    throw std::system_error(error, std::generic_category(), endpoint.text());
}

}  // namespace teskhost
