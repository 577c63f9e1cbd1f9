// Addresses as text ("host:port") and as the system's structures.
#pragma once

#include <string>
#include <sys/socket.h>

namespace teskd {

// A numeric host and port, ready for bind and connect. No look-up of names.
class SocketAddress {
  public:
    // The text after the last ":" is the port, read as far as it is a number. A host with a "/" is
    // IPv6. A host that cannot be parsed becomes all zeros.
    // @throws UnknownHostException when there is no ":"
    explicit SocketAddress(const std::string& text);

    // The part before the last ":".
    const std::string& getHost() const { return host_; }
    // Replaces the host by "0.0.0.0".
    void useAnyHost();

    const sockaddr* get() const;
    // The size of sockaddr_storage, not of the family's structure.
    static constexpr socklen_t SIZE = 128;

    // The address as text, a colon, and one character whose code is the low eight bits of the port.
    // signature: the caller's, for the error text. @throws SocketException
    static std::string toText(const sockaddr_storage& address, const char* signature);

  private:
    void fill();

    std::string host_;
    unsigned short port_ = 0;
    sockaddr_storage storage_{};
};

}  // namespace teskd
