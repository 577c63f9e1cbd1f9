#include "wireshark/CaptureFile.h"

#include "support/Bytes.h"
#include "support/Frame.h"
#include "support/TempDir.h"

namespace teskd::test {

namespace {

constexpr std::uint8_t kTcp = 6;
constexpr std::uint8_t kUdp = 17;
constexpr std::size_t kIpHeaderSize = 20;
constexpr std::size_t kUdpHeaderSize = 8;
constexpr std::uint32_t kFirstSecond = 1700000000;

std::string addressOf(CaptureFile::Side side) {
    return bytes("C0 00 02") + static_cast<char>(side.host);
}

std::uint32_t keyOf(CaptureFile::Side side) {
    return static_cast<std::uint32_t>(side.host) << 16 | side.port;
}

std::string size16(std::size_t size) {
    return big16(static_cast<std::uint16_t>(size));
}

// The version 2.4 header of a big-endian file of Ethernet packets.
std::string fileHeader() {
    return bytes("A1 B2 C3 D4  00 02 00 04  00 00 00 00  00 00 00 00  00 00 FF FF  00 00 00 01");
}

std::string ethernet(CaptureFile::Side from, CaptureFile::Side to) {
    const auto hardware = [](CaptureFile::Side side) {
        return bytes("02 00 00 00 00") + static_cast<char>(side.host);
    };
    return hardware(to) + hardware(from) + bytes("08 00");
}

std::string ipHeader(CaptureFile::Side from, CaptureFile::Side to, std::uint8_t protocol,
                     std::size_t size) {
    std::string header = bytes("45 00") + size16(kIpHeaderSize + size);
    header += bytes("00 00 40 00 40") + static_cast<char>(protocol) + bytes("00 00");
    return header + addressOf(from) + addressOf(to);
}

}  // namespace

std::size_t CaptureFile::tcp(Side from, Side to, std::string_view data) {
    const std::lock_guard lock(mutex_);
    std::uint32_t& sent = sent_[{keyOf(from), keyOf(to)}];
    const std::uint32_t received = sent_[{keyOf(to), keyOf(from)}];
    std::string segment = big16(from.port) + big16(to.port);
    segment += big32(sent + 1) + big32(received + 1);
    segment += bytes("50 18 FF FF 00 00 00 00");
    sent += static_cast<std::uint32_t>(data.size());
    return add(from, to, kTcp, segment.append(data));
}

std::size_t CaptureFile::udp(Side from, Side to, std::string_view data) {
    const std::lock_guard lock(mutex_);
    std::string datagram = big16(from.port) + big16(to.port);
    datagram += size16(kUdpHeaderSize + data.size()) + bytes("00 00");
    return add(from, to, kUdp, datagram.append(data));
}

std::size_t CaptureFile::add(Side from, Side to, std::uint8_t protocol, std::string_view payload) {
    std::string packet = ethernet(from, to) + ipHeader(from, to, protocol, payload.size());
    packet += payload;
    const std::string kept = packet.substr(0, limit_);
    packets_ += big32(kFirstSecond + milliseconds_ / 1000) + big32(milliseconds_ % 1000 * 1000);
    packets_ += big32(static_cast<std::uint32_t>(kept.size()));
    packets_ += big32(static_cast<std::uint32_t>(packet.size())) + kept;
    ++milliseconds_;
    return ++count_;
}

void CaptureFile::setClock(std::uint32_t milliseconds) {
    const std::lock_guard lock(mutex_);
    milliseconds_ = milliseconds;
}

void CaptureFile::write(const std::filesystem::path& file) const {
    const std::lock_guard lock(mutex_);
    writeFile(file, fileHeader() + packets_);
}

}  // namespace teskd::test
