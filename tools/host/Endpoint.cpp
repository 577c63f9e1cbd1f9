#include "host/Endpoint.h"

#include <charconv>
#include <stdexcept>

namespace teskhost {

namespace {

[[noreturn]] void refuse(const std::string& text) {
    throw std::invalid_argument(
        "an address, or ADDRESS:PORT, is expected, such as 192.168.0.1:5001 "
        "or [::1]:5001, not \"" +
        text + '"');
}

std::string withoutBrackets(const std::string& address) {
    const bool bracketed = address.size() > 2 && address.front() == '[' && address.back() == ']';
    return bracketed ? address.substr(1, address.size() - 2) : address;
}

}  // namespace

Endpoint Endpoint::parse(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) refuse(text);
    const std::string address = text.substr(0, colon);
    Endpoint endpoint{withoutBrackets(address)};
    // An address with colons is in brackets, so that the port is not part of it.
    const bool hasColon = endpoint.address.find(':') != std::string::npos;
    if (hasColon && address.front() != '[') refuse(text);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, endpoint.port);
    if (error != std::errc() || stop != end) refuse(text);
    return endpoint;
}

Endpoint Endpoint::parse(const std::string& text, std::uint16_t usualPort) {
    const std::string address = withoutBrackets(text);
    const bool portless = address != text || text.find(':') == std::string::npos;
    if (text.empty() || !portless) return parse(text);
    return {address, usualPort};
}

std::string Endpoint::text() const {
    const bool bracketed = address.find(':') != std::string::npos;
    const std::string host = bracketed ? "[" + address + "]" : address;
    return host + ":" + std::to_string(port);
}

}  // namespace teskhost
