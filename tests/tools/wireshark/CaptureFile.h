// A capture as a network interface would have given it, made from what the caller says was sent:
// Ethernet, IPv4, TCP or UDP around it, one millisecond between two packets unless the clock is
// set.
//
// Ownership: the object holds all packets in memory.
// Threads: packets may be added from any thread.
// Errors: write() throws std::runtime_error.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace teskd::test {

class CaptureFile {
  public:
    // The last byte of an address 192.0.2.x, and a port.
    struct Side {
        std::uint8_t host = 0;
        std::uint16_t port = 0;
    };

    // Keeps so many bytes of every packet.
    explicit CaptureFile(std::size_t limit = 65535) : limit_(limit) {}

    // Each returns the packet's number, from 1. Data is at most 60000 bytes.
    std::size_t tcp(Side from, Side to, std::string_view data);
    std::size_t udp(Side from, Side to, std::string_view data);

    // When the next packet comes, after a first second of the capture's own.
    void setClock(std::uint32_t milliseconds);

    void write(const std::filesystem::path& file) const;

  private:
    using Direction = std::pair<std::uint32_t, std::uint32_t>;

    std::size_t add(Side from, Side to, std::uint8_t protocol, std::string_view payload);

    const std::size_t limit_;
    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::string packets_;
    std::size_t count_ = 0;
    std::uint32_t milliseconds_ = 0;
    std::map<Direction, std::uint32_t> sent_;  // bytes of each side of a connection
};

}  // namespace teskd::test
