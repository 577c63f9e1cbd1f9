#include "dorn/FrameReader.h"

#include <utility>

#include "core/Exception.h"
#include "core/Text.h"
#include "dorn/DornPacket.h"
#include "net/BufferedInputStream.h"
#include "packet/PacketHandle.h"

namespace teskd {

using namespace dornframe;

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
        if (begins_frame(view(header))) throw;
        hold_junk(e);
    }
}

Header FrameReader::peek_header() {
    constexpr int SIZE = HEADER_SIZE;
    Header header{};
    input_.mark(SIZE);
    const int peeked = input_.readFully(header.data(), SIZE);
    input_.reset();
    if (peeked < SIZE) throw_closed();
    return header;
}

void FrameReader::receive(const Header& header) {
    const int type = type_of(header);
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
        if (admit_ && begins_frame(view(header))) {
            admit_(*packet, body_size(header).value_or(0));
        }
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
