#include "host/HostLink.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

#include "host/Connect.h"

namespace teskhost {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

HostLink::HostLink(const Endpoint& endpoint, Milliseconds patience)
    : socket_(connectTo(endpoint, patience)) {}

std::uint32_t HostLink::send(const Request& request) {
    Frame frame;
    frame.type = request.type;
    frame.body = request.body;
    frame.identifierB = ++lastIdentifier_;
    std::string data = frame.encode();
    while (!data.empty()) {
        const ssize_t count = ::send(socket_.get(), data.data(), data.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EAGAIN) throw LinkError("the daemon does not take the request");
        if (count < 0 && errno != EINTR) fail("send");
        data.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return lastIdentifier_;
}

Frame HostLink::receive(Milliseconds patience) {
    const Clock::time_point until = Clock::now() + patience;
    const std::string header = read(Frame::kHeaderSize, until);
    return Frame::decode(header + read(Frame::sizeBehind(header), until));
}

Frame HostLink::ask(const Request& request, Milliseconds patience) {
    const std::uint32_t identifier = send(request);
    Frame frame = receive(patience);
    expectAnswer(frame, request, identifier);
    return frame;
}

void HostLink::expectAnswer(const Frame& frame, const Request& request, std::uint32_t identifier) {
    if (frame.identifierB == identifier && frame.type == request.type) return;
    throw LinkError("the answer belongs to another request");
}

std::string HostLink::read(std::size_t count, Clock::time_point until) {
    std::string data(count, '\0');
    std::size_t filled = 0;
    while (filled < count) {
        const auto left = std::chrono::ceil<Milliseconds>(until - Clock::now());
        pollfd entry{socket_.get(), POLLIN, 0};
        const int wait = static_cast<int>(std::max<Milliseconds::rep>(left.count(), 0));
        if (::poll(&entry, 1, wait) == 0) throw LinkError("no complete answer came in time");
        const ssize_t got = ::recv(socket_.get(), &data[filled], count - filled, MSG_DONTWAIT);
        if (got == 0) throw LinkError("the daemon closed the connection");
        if (got < 0 && errno != EAGAIN && errno != EINTR) fail("recv");
        filled += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    return data;
}

}  // namespace teskhost
