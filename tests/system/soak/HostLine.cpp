#include "soak/HostLine.h"

#include <cerrno>
#include <sys/socket.h>
#include <system_error>

#include "soak/Violation.h"
#include "support/Hex.h"

namespace teskd::soak {

namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::uint32_t kLongestFrame = 4U * 1024U * 1024U;

}  // namespace

HostLine::HostLine(std::uint16_t port) : connection_(test::Connection::to(port)) {}

bool HostLine::send(std::string_view data) {
    try {
        connection_.sendAll(data);
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

std::vector<test::Frame> HostLine::read(std::chrono::milliseconds time) {
    if (!ended_ && connection_.readableWithin(time)) receive();
    return cut();
}

void HostLine::receive() {
    std::string block(kBlock, '\0');
    const ssize_t count = ::recv(connection_.fd(), block.data(), block.size(), MSG_DONTWAIT);
    if (count > 0) {
        pending_.append(block, 0, static_cast<std::size_t>(count));
        return;
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    ended_ = true;
    reset_ = count < 0;
}

std::vector<test::Frame> HostLine::cut() {
    std::vector<test::Frame> frames;
    while (pending_.size() > test::Frame::kHeaderSize) {
        const std::uint32_t length = test::frameLength(pending_);
        if (pending_.front() != '\xFF' || length == 0 || length > kLongestFrame) {
            throw Violation("no frame: " + test::hex(std::string_view(pending_).substr(0, 200)));
        }
        const std::size_t size = test::Frame::kHeaderSize + length;
        if (pending_.size() < size) break;
        frames.push_back(test::parseFrame(std::string_view(pending_).substr(0, size)).value());
        pending_.erase(0, size);
    }
    return frames;
}

}  // namespace teskd::soak
