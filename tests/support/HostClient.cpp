#include "support/HostClient.h"

#include <stdexcept>

#include "support/Hex.h"

namespace teskd::test {

namespace {

constexpr std::uint32_t kLongestFrame = 16U * 1024U * 1024U;

}  // namespace

HostClient::HostClient(std::uint16_t port, Deadline deadline)
    : connection_(Connection::to(port, deadline)) {}

void HostClient::request(std::uint8_t type, std::string_view body, std::uint32_t identifierA,
                         std::uint32_t identifierB) {
    send(Frame{.type = type,
               .identifierA = identifierA,
               .identifierB = identifierB,
               .body = std::string(body)});
}

Frame HostClient::readFrame(Deadline deadline) {
    const std::string header = connection_.readExactly(Frame::kHeaderSize, deadline);
    const std::uint32_t length = frameLength(header);
    if (length == 0 || length > kLongestFrame) {
        throw std::runtime_error("absurd frame length in " + hex(header));
    }
    return parseFrame(header + connection_.readExactly(length, deadline)).value();
}

std::optional<Frame> HostClient::readFrameWithin(std::chrono::milliseconds time) {
    if (!connection_.readableWithin(time)) return std::nullopt;
    return readFrame();
}

std::string name11(std::string_view name) {
    std::string result(name.substr(0, 11));
    result.resize(11, '\0');
    return result;
}

}  // namespace teskd::test
