#include "net/AddressList.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <iterator>
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

// Decimal, from 0 to 32, without zeros in front.
std::optional<unsigned> parsePrefix(std::string_view text) {
    unsigned bits = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, bits);
    const bool padded = text.size() > 1 && text.front() == '0';
    if (error != std::errc() || stop != end || padded || bits > BITS) return {};
    return bits;
}

// The bits behind a prefix.
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
    list.sortAndJoin();
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

void AddressList::sortAndJoin() {
    std::sort(ranges_.begin(), ranges_.end(),
              [](const Range& a, const Range& b) { return a.first < b.first; });
    auto joined = ranges_.begin();
    for (auto next = std::next(joined); next != ranges_.end(); ++next) {
        if (next->first <= joined->last) {
            joined->last = std::max(joined->last, next->last);
        } else {
            *++joined = *next;
        }
    }
    ranges_.erase(std::next(joined), ranges_.end());
}

bool AddressList::contains(std::uint32_t address) const {
    const auto behind =
        std::upper_bound(ranges_.begin(), ranges_.end(), address,
                         [](std::uint32_t wanted, const Range& r) { return wanted < r.first; });
    return behind != ranges_.begin() && address <= std::prev(behind)->last;
}

}  // namespace teskd
