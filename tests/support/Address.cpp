#include "support/Address.h"

#include <arpa/inet.h>
#include <stdexcept>

namespace teskd::test {

sockaddr_in ipv4(const std::string& host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
        throw std::invalid_argument(host + " is no address");
    }
    return address;
}

std::uint16_t portOf(const sockaddr_in& address) {
    return ntohs(address.sin_port);
}

}  // namespace teskd::test
