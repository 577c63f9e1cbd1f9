#include "dorn/DornPacket.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "config/ZqConfig.h"
#include "core/BigEndian.h"
#include "core/Exception.h"
#include "core/Text.h"
#include "dorn/FrameWriter.h"
#include "net/InputStream.h"
#include "net/OutputStream.h"

namespace teskd {

using namespace dornframe;

namespace {

constexpr std::size_t BODY_BLOCK = 16384;
constexpr std::size_t SKIPPED_BLOCK = 1024;  // on the stack

struct OutcomeNumber {
    const char* text;
    std::uint8_t number;
};

constexpr OutcomeNumber OUTCOMES[] = {
    {"00", 0}, {"1A", 1}, {"1B", 2}, {"1C", 3}, {"1D", 4},
    {"1E", 5}, {"1F", 6}, {"1G", 7}, {"1H", 8}, {"FF", 9},
};

// The smallest of the whole, a half of it, a quarter and so on that holds the part. A string at
// least doubles its capacity when it grows, so only such steps end at exactly the whole.
std::size_t capacity_for(std::size_t part, std::size_t whole) {
    std::size_t capacity = whole;
    while (capacity / 2 >= part) capacity = (capacity + 1) / 2;
    return capacity;
}

}  // namespace

DornPacket::DornPacket() : DornPacket(0) {}

DornPacket::DornPacket(std::uint8_t type) {
    header_[0] = static_cast<char>(START);
    set_kind(Kind::regular);
    set_constant();
    header_[OFFSET_TYPE] = static_cast<char>(type);
    std::array<std::uint8_t, STATION_SIZE> address{};
    ZqConfig::get_mac_bytes(ZqConfig::IDENTIFYING_INTERFACE, address);
    std::copy(address.begin(), address.end(), header_.begin() + OFFSET_STATION);
}

void DornPacket::notifyFailed() {
    set_frame_body({});
    set_kind(Kind::timedOut);
    Packet::notifyFailed();
}

void DornPacket::notifyError(const Exception& e) {
    set_frame_body({});
    set_kind(Kind::failed);
    Packet::notifyError(e);
}

void DornPacket::read(InputStream& in) {
    if (in.markSupported()) check_start(in);
    read_header(in);
    read_body(in);
    read_checksum(in);
}

bool DornPacket::is_frame_start(int first, int second) {
    return first == START && second == static_cast<int>(Kind::regular);
}

void DornPacket::check_start(InputStream& in) {
    in.mark(2);
    const int first = in.read();
    const int second = in.read();
    in.reset();
    const bool ended = first == -1 || second == -1;  // read_header() will report it
    if (!ended && !is_frame_start(first, second)) {
        throw ProtocolErrorException("Invalid Protocol Type Header");
    }
}

void DornPacket::read_header(InputStream& in) {
    constexpr int SIZE = HEADER_SIZE;
    if (in.readFully(header_.data(), SIZE) < SIZE) throw_closed();
}

// The buffer grows with the bytes that arrive: a large length field alone must not allocate memory.
void DornPacket::read_body(InputStream& in) {
    const std::uint32_t length = bigendian::read32({header_.data(), HEADER_SIZE}, OFFSET_LENGTH);
    if (length == 0 || length > LARGEST_LENGTH) {
        throw ProtocolErrorException(text::format("Invalid Length (0x%08x)", length));
    }
    const std::size_t size = length - 1;
    body_.clear();
    if (dropped_) return skip_body(in, size);
    while (body_.size() < size) {
        const std::size_t start = body_.size();
        const std::size_t block = std::min(size - start, BODY_BLOCK);
        if (body_.capacity() < start + block) body_.reserve(capacity_for(start + block, size));
        body_.resize(start + block);
        const int n = in.readFully(body_.data() + start, static_cast<int>(block));
        if (static_cast<std::size_t>(n) == block) continue;
        body_.resize(start + static_cast<std::size_t>(n));
        throw_closed();
    }
}

void DornPacket::skip_body(InputStream& in, std::size_t size) {
    std::array<char, SKIPPED_BLOCK> block{};
    while (size > 0) {
        const int n = in.read(block.data(), static_cast<int>(std::min(size, block.size())));
        if (n < 1) throw_closed();
        const auto count = static_cast<std::size_t>(n);
        droppedSum_ = checksum({block.data(), count}, droppedSum_);
        size -= count;
    }
}

void DornPacket::read_checksum(InputStream& in) {
    const int received = in.read();
    if (received == -1) throw_closed();
    checksum_ = static_cast<std::uint8_t>(received);
    const auto computed = static_cast<std::uint8_t>(compute_checksum() + droppedSum_);
    if (checksum_ == computed) return;
    throw ProtocolErrorException(text::format("Invalid Checksum (Was: 0x%02x, should be: 0x%02x)",
                                              unsigned{checksum_}, unsigned{computed}));
}

void DornPacket::write(OutputStream& out) {
    out.write(serialize());
}

void DornPacket::answer(FrameWriter& host) {
    host.beginAnswer();
    write(host);
}

std::string DornPacket::serialize() {
    bigendian::put32(header_.data(), header_.size(), OFFSET_LENGTH,
                     static_cast<std::uint32_t>(body_.size() + 1));
    checksum_ = compute_checksum();
    std::string frame;
    frame.reserve(header_.size() + body_.size() + 1);
    frame.append(header_.data(), header_.size());
    frame += body_;
    frame.push_back(static_cast<char>(checksum_));
    return frame;
}

std::uint8_t DornPacket::compute_checksum() const {
    return checksum(body_, checksum({header_.data(), header_.size()}));
}

void DornPacket::offer_to_controller(TeskController&) {}

void DornPacket::offer_to_engine(PacketContainer&) {}

void DornPacket::offer_to_connection(Dorn&) {}

bool DornPacket::identifiers_match(std::uint32_t a, std::uint32_t b) const {
    const std::string_view header(header_.data(), header_.size());
    return bigendian::read32(header, OFFSET_IDENTIFIER_A) == a &&
           bigendian::read32(header, OFFSET_IDENTIFIER_B) == b;
}

bool DornPacket::station_address_equals(
    const std::array<std::uint8_t, STATION_SIZE>& address) const {
    return std::equal(
        address.begin(), address.end(), header_.begin() + OFFSET_STATION,
        [](std::uint8_t wanted, char byte) { return wanted == static_cast<unsigned char>(byte); });
}

std::uint8_t DornPacket::outcome_number(const std::string& outcome) {
    const auto found =
        std::find_if(std::begin(OUTCOMES), std::end(OUTCOMES),
                     [&outcome](const OutcomeNumber& entry) { return outcome == entry.text; });
    return found == std::end(OUTCOMES) ? std::uint8_t{0} : found->number;
}

void DornPacket::set_kind(Kind kind) {
    header_[OFFSET_KIND] = static_cast<char>(kind);
}

void DornPacket::set_constant() {
    header_[OFFSET_CONSTANT] = static_cast<char>(CONSTANT);
}

void DornPacket::set_identifiers(std::uint32_t a, std::uint32_t b) {
    bigendian::put32(header_.data(), header_.size(), OFFSET_IDENTIFIER_A, a);
    bigendian::put32(header_.data(), header_.size(), OFFSET_IDENTIFIER_B, b);
}

}  // namespace teskd
