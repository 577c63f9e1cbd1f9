#include "dorn/FrameReader.h"

#include <utility>

#include "core/BigEndian.h"
#include "core/Exception.h"
#include "core/Text.h"
#include "dorn/DornPacket.h"
#include "net/BufferedInputStream.h"
#include "packet/PacketHandle.h"

namespace teskd {

using namespace dornframe;

namespace {

using Header = std::array<char, HEADER_SIZE>;

bool begins_frame(const Header& header) {
    return DornPacket::is_frame_start(static_cast<unsigned char>(header[0]),
                                      static_cast<unsigned char>(header[OFFSET_KIND]));
}

// 0 for a length that no frame has.
std::size_t body_size(const Header& header) {
    const std::uint32_t length = bigendian::read32({header.data(), header.size()}, OFFSET_LENGTH);
    return length == 0 || length > LARGEST_LENGTH ? 0 : length - 1;
}

}  // namespace

FrameReader::FrameReader(BufferedInputStream& input, CreatePacket create, Dispatch dispatch,
                         AwaitMore awaitMore, LogSource& releaseLog, Admit admit)
    : input_(input),
      create_(create),
      dispatch_(std::move(dispatch)),
      awaitMore_(std::move(awaitMore)),
      releaseLog_(releaseLog),
      admit_(std::move(admit)) {}

void FrameReader::serve_frame() {
    const Header header = peek_header();
    try {
        receive(header);
    } catch (const ProtocolErrorException& e) {
        if (begins_frame(header)) throw;
        hold_junk(e);
    }
}

FrameReader::Header FrameReader::peek_header() {
    constexpr int SIZE = HEADER_SIZE;
    Header header{};
    input_.mark(SIZE);
    const int peeked = input_.readFully(header.data(), SIZE);
    input_.reset();
    if (peeked < SIZE) throw_closed();
    return header;
}

void FrameReader::receive(const Header& header) {
    const int type = static_cast<unsigned char>(header[OFFSET_TYPE]);
    DornPacket* const created = create_(type);
    if (created == nullptr) {
        const auto shown = static_cast<unsigned>(type);
        hold_junk(
            IOException(text::format("Dorn Got Junk on Input: 0x%x does not match any "
                                     "packet type.",
                                     shown)));
        return;
    }
    const PacketHandle<DornPacket> packet(created);
    try {
        if (admit_ && begins_frame(header)) admit_(*packet, body_size(header));
        packet->read(input_);
    } catch (const Exception&) {
        packet->setLog(releaseLog_);
        throw;
    }
    dispatch_(*packet);
}

void FrameReader::hold_junk(const Exception& problem) {
    if (awaitMore_(problem)) input_.skip(input_.held());
}

}  // namespace teskd
