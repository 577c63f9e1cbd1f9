#include "support/Hex.h"

#include <cctype>
#include <stdexcept>

namespace teskd::test {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    throw std::invalid_argument(std::string("not a hexadecimal digit: ") + c);
}

void appendHex(std::string& to, char c) {
    const auto value = static_cast<unsigned char>(c);
    to += kDigits[value >> 4];
    to += kDigits[value & 0x0F];
}

}  // namespace

std::string bytes(std::string_view hexDigits) {
    std::string result;
    int high = -1;
    for (const char c : hexDigits) {
        if (std::isspace(static_cast<unsigned char>(c)) != 0) continue;
        const int value = digitValue(c);
        if (high < 0) {
            high = value;
        } else {
            result += static_cast<char>(static_cast<unsigned char>(high * 16 + value));
            high = -1;
        }
    }
    if (high >= 0) throw std::invalid_argument("odd number of hexadecimal digits");
    return result;
}

std::string hex(std::string_view data) {
    std::string result;
    for (const char c : data) {
        if (!result.empty()) result += ' ';
        appendHex(result, c);
    }
    return result;
}

std::string printable(std::string_view data) {
    std::string result;
    for (const char c : data) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            result += '<';
            appendHex(result, c);
            result += '>';
        }
    }
    return result;
}

}  // namespace teskd::test
