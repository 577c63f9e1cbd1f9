#include "dorn/FrameReader.h"

#include <utility>

#include "aams/AamsPacket.h"
#include "core/Exception.h"
#include "core/NoticeLimiter.h"
#include "core/Text.h"
#include "dorn/DornPacket.h"
#include "dorn/DornPacketType1.h"
#include "dorn/DornPacketType2.h"
#include "dorn/DornPacketType3.h"
#include "dorn/DornPacketType4.h"
#include "dorn/DornPacketType5.h"
#include "dorn/DornPacketType6.h"
#include "dorn/DornPacketType7.h"
#include "dorn/DornPacketType8.h"
#include "net/BufferedInputStream.h"
#include "packet/PacketHandle.h"

namespace teskd {

using namespace dornframe;

FrameReader::FrameReader(BufferedInputStream& input, Dispatch dispatch, AwaitMore awaitMore,
                         NoticeLimiter* releases)
    : input_(input),
      dispatch_(std::move(dispatch)),
      awaitMore_(std::move(awaitMore)),
      releases_(releases) {}

void FrameReader::serve_frame() {
    const Header header = peek_header();
    const int type = static_cast<unsigned char>(header[OFFSET_TYPE]);
    try {
        receive(type);
    } catch (const ProtocolErrorException& e) {
        const bool junk = !DornPacket::is_frame_start(
            static_cast<unsigned char>(header[0]), static_cast<unsigned char>(header[OFFSET_KIND]));
        if (!junk) throw;
        hold_junk(e);
    }
}

FrameReader::Header FrameReader::peek_header() {
    constexpr int SIZE = HEADER_SIZE;
    Header header{};
    input_.mark(SIZE);
    const int peeked = input_.readFully(header.data(), SIZE);
    input_.reset();
    if (peeked < SIZE) {
        throw SocketConnectionClosedException("Remote Peer closed the connection.");
    }
    return header;
}

void FrameReader::receive(int type) {
    DornPacket* const created = create_packet(type);
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
        packet->read(input_);
    } catch (const Exception&) {
        if (releases_ != nullptr && !releases_->allows()) packet->releaseQuietly();
        throw;
    }
    dispatch_(*packet);
}

void FrameReader::hold_junk(const Exception& problem) {
    if (awaitMore_(problem)) input_.skip(input_.held());
}

DornPacket* FrameReader::create_packet(int type) {
    switch (type) {
        case 1:
            return new DornPacketType1;
        case 2:
            return new DornPacketType2;
        case 3:
            return new DornPacketType3;
        case 4:
            return new DornPacketType4;
        case 5:
            return new DornPacketType5;
        case 6:
            return new DornPacketType6;
        case 7:
            return new DornPacketType7;
        case 8:
            return new DornPacketType8;
        case TYPE_AAMS:
            return new AamsPacket;
        default:
            return nullptr;
    }
}

}  // namespace teskd
