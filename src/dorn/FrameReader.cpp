#include "dorn/FrameReader.h"

#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/Text.h"
#include "dorn/DornPacket.h"
#include "net/BufferedInputStream.h"

namespace teskd {

using namespace dornframe;

// The type is looked up first, so that bytes which begin no frame and have no known type either are
// logged with that type.
PacketHandle<DornPacket> FrameReader::next() {
    peek_header();
    PacketHandle<DornPacket> packet(create_(type_of(header_)));
    if (!packet) {
        const auto shown = static_cast<unsigned>(type_of(header_));
        problem_ = IOException(text::format("Dorn Got Junk on Input: 0x%x does not match any "
                                            "packet type.",
                                            shown))
                       .text();
        return packet;
    }
    packet->setLog(releaseLog_);
    if (begins_frame(view(header_))) return packet;
    problem_ = bad_start().text();
    return PacketHandle<DornPacket>(nullptr);
}

void FrameReader::peek_header() {
    constexpr int SIZE = HEADER_SIZE;
    input_.mark(SIZE);
    const int peeked = input_.readFully(header_.data(), SIZE);
    input_.reset();
    if (peeked < SIZE) throw_closed();
}

void FrameReader::read(DornPacket& packet) {
    packet.read(input_);
    packet.setLog(LogSource::unlimited());
}

void FrameReader::drop_buffered() {
    input_.skip(input_.held());
}

std::size_t FrameReader::buffered() const {
    return static_cast<std::size_t>(input_.held());
}

}  // namespace teskd
