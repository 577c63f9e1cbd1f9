// A list of addresses and networks, parsed from a setting's text.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace teskd {

// IPv4 addresses ("10.0.0.7") and networks ("192.168.1.0/24"), separated by blanks, commas or
// semicolons. The bits after a network's prefix are ignored. Addresses are numbers in host byte
// order: 127.0.0.1 is 0x7F000001.
//
// Makes no system call. Owner: a plain value. Threads: constant after construction.
class AddressList {
  public:
    // The empty list, which contains no address.
    AddressList() = default;
    // None if the text has no item, or an item that is neither an address nor a network.
    static std::optional<AddressList> parse(std::string_view text);
    // The first item that is neither an address nor a network; empty if there is none.
    static std::string_view firstMistake(std::string_view text);

    bool contains(std::uint32_t address) const;
    // Whether the address is in 127.0.0.0/8.
    static bool isLoopback(std::uint32_t address) { return address >> 24U == 127; }

  private:
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };

    static std::optional<Range> parseItem(std::string_view item);

    std::vector<Range> ranges_;  // in the order of the text
};

}  // namespace teskd
