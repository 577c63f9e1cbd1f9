#include "tesk/TeskPacket.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

#include "core/Exception.h"
#include "core/Text.h"
#include "net/InputStream.h"
#include "net/OutputStream.h"
#include "telnet/TelnetOutputStream.h"

namespace teskd {

namespace {

constexpr std::size_t OUTCOME_SIZE = 2;
constexpr std::size_t ID_SIZE = 3;
constexpr std::size_t LENGTH_SIZE = 4;
constexpr int BODY_BLOCK = 4096;

bool is_number(std::string_view text, std::size_t size, int base) {
    return text.size() == size && text::parseNumber(text, base).consumed == size;
}

// Whether the character matches one of a pattern: "d" is any digit, "x" any hexadecimal digit, any
// other character itself.
bool matches(char c, char pattern) {
    if (pattern == 'd') return std::isdigit(static_cast<unsigned char>(c)) != 0;
    if (pattern == 'x') return std::isxdigit(static_cast<unsigned char>(c)) != 0;
    return c == pattern;
}

}  // namespace

void TeskPacket::read(InputStream& in) {
    std::int64_t consumed = 0;
    id_.clear();
    id_ = read_field(in, consumed, "Could not read message ID");
    const std::string length = read_field(in, consumed, "Could not read message Len");
    const std::int64_t total = text::toInt(length, 16);
    if (total > LONGEST_MESSAGE) throw TeskConnectionErrorException("Could not read message Len");
    date_ = read_field(in, consumed, "Could not read Date");
    code_id_ = read_field(in, consumed, "Could not read CodeId");
    outcome_.clear();
    while (outcome_.size() < OUTCOME_SIZE) {
        const int byte = in.read();
        if (byte < 0) throw TeskConnectionErrorException("Could not read Outcome");
        outcome_.push_back(static_cast<char>(byte));
        ++consumed;
    }
    regular_header_ =
        is_number(id_, ID_SIZE, 10) && is_number(length, LENGTH_SIZE, 16) && total >= consumed;
    read_body(in, total - consumed);
    raw_ = false;
    split_trailer();
}

std::string TeskPacket::read_field(InputStream& in, std::int64_t& consumed, const char* error) {
    std::string field;
    for (;;) {
        const int byte = in.read();
        if (byte < 0 || field.size() > LONGEST_FIELD) throw TeskConnectionErrorException(error);
        ++consumed;
        if (byte == SEPARATOR) return field;
        field.push_back(static_cast<char>(byte));
    }
}

// Reads in blocks. Bytes after the end of the message in the last block stay part of the body,
// unless they begin another message.
void TeskPacket::read_body(InputStream& in, std::int64_t remaining) {
    body_.clear();
    surplus_.clear();
    std::array<char, BODY_BLOCK> block;
    while (remaining > 0) {
        const int n = in.read(block.data(), BODY_BLOCK);
        if (n <= 0) throw TeskConnectionErrorException("Short read on the body");
        body_.append(block.data(), static_cast<std::size_t>(n));
        if (n > remaining) surplus_.assign(block.data() + remaining, block.data() + n);
        remaining -= n;
    }
    if (begins_message(surplus_)) body_.resize(body_.size() - surplus_.size());
    if (body_.starts_with(SEPARATOR)) body_.erase(0, 1);
}

bool TeskPacket::begins_message(std::string_view bytes) {
    constexpr std::string_view HEADER = "ddd~xxxx~";
    const std::string_view head = bytes.substr(0, HEADER.size());
    return !head.empty() && std::equal(head.begin(), head.end(), HEADER.begin(), matches);
}

std::optional<TeskPacket::Header> TeskPacket::header_of(std::string_view bytes) {
    if (bytes.size() <= HEADER_SIZE || !begins_message(bytes)) return std::nullopt;
    const int length = text::toInt(bytes.substr(ID_SIZE + 1, LENGTH_SIZE), 16);
    if (length <= static_cast<int>(HEADER_SIZE)) return std::nullopt;
    return Header{text::toInt(bytes.substr(0, ID_SIZE)), static_cast<std::size_t>(length)};
}

void TeskPacket::split_trailer() {
    const char kind = code_id_.at(1);
    if ((kind != 'N' && kind != 'P') || body_.size() < TRAILER_SIZE) return;
    has_trailer_ = true;
    const std::size_t start = body_.size() - TRAILER_SIZE;
    std::copy_n(body_.data() + start, TRAILER_SIZE, trailer_.data());
    body_.resize(start);
}

void TeskPacket::write(OutputStream& out) {
    if (!raw_) out.write(header());
    if (!body_.empty()) out.write(body_);
}

// Always eight bytes, whatever the ID: longer text is cut, shorter text padded with NUL.
std::string TeskPacket::header() const {
    if (raw_) return {};
    char header[64]{};
    std::snprintf(header, sizeof header, "%s%c%04zX", id_.c_str(), SEPARATOR,
                  body_.size() + HEADER_SIZE);
    return {header, HEADER_SIZE};
}

// Only the body can have a byte 0xFF: the header consists of digits and separators.
bool TeskPacket::is_plain() const {
    return TelnetOutputStream::isData(body_);
}

void TeskPacket::set_id(int id) {
    id_ = std::to_string(id);
}

int TeskPacket::get_id() const {
    return text::toInt(id_);
}

std::optional<int> TeskPacket::get_asked_id() const {
    if (!raw_) return get_id();
    if (body_.size() < HEADER_SIZE || !begins_message(body_)) return std::nullopt;
    return text::toInt(std::string_view(body_).substr(0, ID_SIZE));
}

void TeskPacket::take_answer(TeskPacket& answer) {
    id_ = std::move(answer.id_);
    date_ = std::move(answer.date_);
    code_id_ = std::move(answer.code_id_);
    outcome_ = std::move(answer.outcome_);
    body_ = std::move(answer.body_);
    surplus_ = std::move(answer.surplus_);
    regular_header_ = answer.regular_header_;
    raw_ = false;
    if (!answer.has_trailer_) return;
    has_trailer_ = true;
    trailer_ = answer.trailer_;
}

void TeskPacket::set_body(std::string text) {
    body_.swap(text);
    if (body_.empty() || raw_ || body_.front() == SEPARATOR) return;
    body_.insert(0, 1, SEPARATOR);
}

std::string TeskPacket::to_string() const {
    const bool separated = body_.empty() || body_.front() == SEPARATOR;
    const std::string outcome = separated ? outcome_ : outcome_ + SEPARATOR;
    std::string rest = SEPARATOR + date_ + SEPARATOR + code_id_ + SEPARATOR + outcome + body_;
    if (has_trailer_) rest.append(trailer_.data(), trailer_.size());
    const std::size_t length = id_.size() + 1 + LENGTH_SIZE + rest.size();
    return id_ + text::format("%c%04zX", SEPARATOR, length) + rest;
}

}  // namespace teskd
