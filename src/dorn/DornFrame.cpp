#include "dorn/DornFrame.h"

#include "core/Exception.h"

namespace teskd::dornframe {

void throw_closed() {
    throw SocketConnectionClosedException("Remote Peer closed the connection.");
}

std::uint8_t checksum(std::string_view bytes, std::uint8_t seed) {
    std::uint8_t sum = seed;
    for (const char byte : bytes) {
        sum = static_cast<std::uint8_t>(sum + static_cast<unsigned char>(byte));
    }
    return sum;
}

}  // namespace teskd::dornframe
