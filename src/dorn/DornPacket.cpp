#include "dorn/DornPacket.h"

#include <algorithm>
#include <optional>

#include "config/ZqConfig.h"
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

// The smallest of the whole, a half of it, a quarter and so on that holds the part. A string at
// least doubles its capacity when it grows, so only such steps end at exactly the whole.
std::size_t capacity_for(std::size_t part, std::size_t whole) {
    std::size_t capacity = whole;
    while (capacity / 2 >= part) capacity = (capacity + 1) / 2;
    return capacity;
}

}  // namespace

DornPacket::DornPacket() : DornPacket(0) {
    set_station_address();
}

DornPacket::DornPacket(std::uint8_t type) : header_(new_header(type)) {}

void DornPacket::notifyFailed() {
    set_frame_body({});
    set_kind(Kind::TIMED_OUT);
    Packet::notifyFailed();
}

void DornPacket::notifyError(const Exception& e) {
    set_frame_body({});
    set_kind(Kind::FAILED);
    Packet::notifyError(e);
}

void DornPacket::read(InputStream& in) {
    if (in.markSupported()) check_start(in);
    read_header(in);
    read_body(in);
    read_checksum(in);
}

void DornPacket::check_start(InputStream& in) {
    constexpr int SIZE = START_SIZE;
    std::array<char, START_SIZE> start{};
    in.mark(SIZE);
    const bool ended = in.readFully(start.data(), SIZE) < SIZE;  // read_header() will report it
    in.reset();
    if (!ended && !begins_frame({start.data(), start.size()})) throw bad_start();
}

void DornPacket::read_header(InputStream& in) {
    constexpr int SIZE = HEADER_SIZE;
    if (in.readFully(header_.data(), SIZE) < SIZE) throw_closed();
}

// The buffer grows with the bytes that arrive: a large length field alone must not allocate memory.
void DornPacket::read_body(InputStream& in) {
    const std::optional<std::size_t> expected = body_size(header_);
    if (!expected) {
        throw ProtocolErrorException(text::format("Invalid Length (0x%08x)", length_of(header_)));
    }
    const std::size_t size = *expected;
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
    std::string frame = encode(header_, body_);
    checksum_ = static_cast<std::uint8_t>(frame.back());
    return frame;
}

std::uint8_t DornPacket::compute_checksum() const {
    return checksum(body_, checksum(view(header_)));
}

void DornPacket::offer_to_controller(TeskController&) {}

void DornPacket::offer_to_engine(PacketContainer&) {}

void DornPacket::offer_to_connection(Dorn&) {}

bool DornPacket::identifiers_match(std::uint32_t a, std::uint32_t b) const {
    return identifiers_of(view(header_)) == Identifiers{a, b};
}

bool DornPacket::station_address_equals(const Station& address) const {
    return has_station(header_, address);
}

void DornPacket::set_station_address() {
    Station address{};
    ZqConfig::get_mac_bytes(ZqConfig::IDENTIFYING_INTERFACE, address);
    set_station(header_, address);
}

void DornPacket::set_kind(Kind kind) {
    dornframe::set_kind(header_, kind);
}

void DornPacket::set_constant() {
    dornframe::set_constant(header_);
}

void DornPacket::set_identifiers(std::uint32_t a, std::uint32_t b) {
    dornframe::set_identifiers(header_, {a, b});
}

}  // namespace teskd
