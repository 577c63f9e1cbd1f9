#include "net/AddressList.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <netinet/in.h>
#include <string>

#include "core/Text.h"

namespace teskd {

namespace {

constexpr std::string_view SEPARATORS = " ,;";
constexpr unsigned BITS = 32;

std::optional<std::uint32_t> parseAddress(std::string_view text) {
    if (text.size() >= INET_ADDRSTRLEN || text.find('\0') != text.npos) return {};
    in_addr address{};
    if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return {};
    return ntohl(address.s_addr);
}

// Decimal, from 0 to 32, without leading zeros.
std::optional<unsigned> parsePrefix(std::string_view text) {
    unsigned bits = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, bits);
    const bool padded = text.size() > 1 && text.front() == '0';
    if (error != std::errc() || stop != end || padded || bits > BITS) return {};
    return bits;
}

// The mask of the bits after a prefix.
std::uint32_t hostBits(unsigned prefix) {
    return prefix == BITS ? 0 : ~std::uint32_t{0} >> prefix;
}

}  // namespace

std::optional<AddressList> AddressList::parse(std::string_view text) {
    AddressList list;
    for (;;) {
        const std::string_view item = text::takePiece(text, SEPARATORS);
        if (item.empty()) break;
        const std::optional<Range> range = parseItem(item);
        if (!range) return {};
        list.ranges_.push_back(*range);
    }
    if (list.ranges_.empty()) return {};
    return list;
}

std::string_view AddressList::firstMistake(std::string_view text) {
    for (;;) {
        const std::string_view item = text::takePiece(text, SEPARATORS);
        if (item.empty() || !parseItem(item)) return item;
    }
}

std::optional<AddressList::Range> AddressList::parseItem(std::string_view item) {
    const std::size_t slash = item.find('/');
    const std::optional<std::uint32_t> address = parseAddress(item.substr(0, slash));
    const bool alone = slash == std::string_view::npos;
    const std::optional<unsigned> prefix = alone ? BITS : parsePrefix(item.substr(slash + 1));
    if (!address || !prefix) return {};
    const std::uint32_t rest = hostBits(*prefix);
    return Range{*address & ~rest, *address | rest};
}

// A linear search is fast enough: a list of a megabyte of text takes about ten microseconds.
bool AddressList::contains(std::uint32_t address) const {
    return std::any_of(ranges_.begin(), ranges_.end(), [address](const Range& range) {
        return range.first <= address && address <= range.last;
    });
}

}  // namespace teskd
