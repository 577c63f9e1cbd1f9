// A list of addresses and networks, as an administrator writes it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace teskd {

// IPv4 addresses ("10.0.0.7") and networks ("192.168.1.0/24"), with blanks, commas or semicolons
// between. Bits behind a network's prefix do not matter. Addresses are numbers in the order of
// their text: 127.0.0.1 is 0x7F000001.
//
// Text in, answers out; no system call. Owner: a plain value. Threads: constant after construction.
class AddressList {
  public:
    // Nobody.
    AddressList() = default;
    // Nothing for a text that has no item, or one that is neither an address nor a network.
    static std::optional<AddressList> parse(std::string_view text);
    // The first item that is neither; empty when there is none.
    static std::string_view firstMistake(std::string_view text);

    bool contains(std::uint32_t address) const;
    // 127.0.0.0/8: the machine itself.
    static bool isLoopback(std::uint32_t address) { return address >> 24U == 127; }

  private:
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };

    static std::optional<Range> parseItem(std::string_view item);

    std::vector<Range> ranges_;  // as they are written
};

}  // namespace teskd
