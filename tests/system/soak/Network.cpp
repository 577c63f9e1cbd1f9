#include "soak/Network.h"

namespace teskd::soak {

namespace {

constexpr int kFirst = 2;
constexpr int kLast = 254;

}  // namespace

Network::Network() {
    gateway_.addCable(kLink, server_, kFarLink);
    gateway_.addAddress(kLink, address());
    server_.addAddress(kFarLink, std::string(kServer) + "/24");
}

std::string Network::address() const {
    return "10.77.0." + std::to_string(last_) + "/24";
}

test::UdpPeer Network::peer(std::uint16_t port) const {
    return server_.in([port] { return test::UdpPeer(port, kServer); });
}

void Network::takeNextAddress() {
    last_ = last_ == kLast ? kFirst : last_ + 1;
    gateway_.addAddress(kLink, address());
}

}  // namespace teskd::soak
