#include "net/SocketAddress.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

#include "core/Text.h"
#include "net/SocketError.h"

namespace teskd {

static_assert(sizeof(sockaddr_storage) == SocketAddress::SIZE);

SocketAddress::SocketAddress(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) throw UnknownHostException(text);
    host_ = text.substr(0, colon);
    port_ = static_cast<unsigned short>(text::toInt(text.substr(colon + 1)));
    fill();
}

void SocketAddress::useAnyHost() {
    host_ = "0.0.0.0";
    fill();
}

void SocketAddress::fill() {
    storage_ = {};
    if (host_.find('/') != std::string::npos) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port_);
        inet_pton(AF_INET6, host_.c_str(), &address.sin6_addr);
        std::memcpy(&storage_, &address, sizeof address);
    } else {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        inet_pton(AF_INET, host_.c_str(), &address.sin_addr);
        std::memcpy(&storage_, &address, sizeof address);
    }
}

const sockaddr* SocketAddress::get() const {
    return reinterpret_cast<const sockaddr*>(&storage_);
}

std::string SocketAddress::toText(const sockaddr_storage& address, const char* signature) {
    char text[1024];
    const char* host = nullptr;
    unsigned short port = 0;
    if (address.ss_family == AF_INET) {
        sockaddr_in inet{};
        std::memcpy(&inet, &address, sizeof inet);
        host = inet_ntop(AF_INET, &inet.sin_addr, text, sizeof text);
        port = ntohs(inet.sin_port);
    } else if (address.ss_family == AF_INET6) {
        sockaddr_in6 inet{};
        std::memcpy(&inet, &address, sizeof inet);
        host = inet_ntop(AF_INET6, &inet.sin6_addr, text, sizeof text);
        port = ntohs(inet.sin6_port);
    } else {
        throw SocketException("Unknown Address Family");
    }
    if (host == nullptr) throwSocketError(signature);
    return std::string(host) + ":" + static_cast<char>(port & 0xFF);
}

}  // namespace teskd
