#include "tesksim/Message.h"

#include <cctype>
#include <cstdio>

namespace tesksim {

namespace {

constexpr std::size_t kMostJunk = 8192;
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kIdDigits = 3;
constexpr std::size_t kLengthDigits = 4;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isUpperHex(char c) {
    return isDigit(c) || (c >= 'A' && c <= 'F');
}

struct Header {
    enum class Kind { None, Incomplete, Complete } kind = Kind::None;
    int id = 0;
    std::size_t length = 0;
};

// Whether `c` is valid at `position` of a header whose ID has `digits` digits.
bool fits(char c, std::size_t position, std::size_t digits) {
    if (position < digits) return isDigit(c);
    if (position == digits) return c == '~';
    if (position <= digits + kLengthDigits) return isUpperHex(c);
    return position > digits + kLengthDigits + 1 || c == '\0';
}

Header readHeader(std::string_view text, std::size_t digits) {
    const std::string_view head = text.substr(0, kHeaderSize);
    for (std::size_t i = 0; i < head.size(); ++i) {
        if (!fits(head[i], i, digits)) return {};
    }
    if (head.size() < kHeaderSize) return {Header::Kind::Incomplete};
    const int id = std::stoi(std::string(head.substr(0, digits)));
    const auto length =
        std::stoul(std::string(head.substr(digits + 1, kLengthDigits)), nullptr, 16);
    if (length < kHeaderSize) return {};
    return {text.size() < length ? Header::Kind::Incomplete : Header::Kind::Complete, id, length};
}

Header readHeader(std::string_view text) {
    for (std::size_t digits = kIdDigits; digits > 0; --digits) {
        const Header header = readHeader(text, digits);
        if (header.kind != Header::Kind::None) return header;
    }
    return {};
}

Message makeMessage(int id, std::string raw) {
    std::string payload = raw.substr(kHeaderSize);
    if (!payload.empty() && payload.front() == '~') payload.erase(0, 1);
    return {id, std::move(payload), std::move(raw)};
}

}  // namespace

std::string encode(const Answer& answer, int lengthError) {
    const std::string id = std::to_string(answer.id);
    std::string rest = "~" + answer.date + "~" + answer.codeId + "~" + answer.outcome;
    if (!answer.body.empty() || !answer.trailer.empty()) rest += "~" + answer.body;
    rest += answer.trailer;
    const std::size_t length = id.size() + 1 + kLengthDigits + rest.size();
    char digits[16];
    std::snprintf(digits, sizeof digits, "%04X",
                  static_cast<unsigned>(static_cast<long>(length) + lengthError) & 0xFFFFU);
    return id + "~" + digits + rest;
}

std::optional<Message> MessageParser::next() {
    while (!pending_.empty()) {
        const Header header = readHeader(pending_);
        if (header.kind == Header::Kind::Incomplete) return std::nullopt;
        if (header.kind == Header::Kind::Complete) {
            Message message = makeMessage(header.id, pending_.substr(0, header.length));
            pending_.erase(0, header.length);
            return message;
        }
        junk_ += pending_.front();
        if (junk_.size() > kMostJunk) junk_.erase(0, kMostJunk / 2);
        pending_.erase(0, 1);
    }
    return std::nullopt;
}

void MessageParser::reset() {
    pending_.clear();
    junk_.clear();
}

}  // namespace tesksim
