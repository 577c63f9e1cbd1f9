// Splits the bytes from a host into packets.
#pragma once

#include <cstddef>
#include <functional>

#include "dorn/CreatePacket.h"
#include "dorn/DornFrame.h"

namespace teskd {

class BufferedInputStream;
class DornPacket;
class Exception;
class LogSource;

// Reads one frame after another and makes a packet of each. Junk stays buffered until more bytes
// arrive; then the whole buffer is discarded, and reading goes on with the new bytes.
//
// Owner: a Dorn, for one run. Threads: one at a time. Ownership: refers to the stream and the log's
// source.
class FrameReader {
  public:
    // Takes a packet that was read; it is freed afterwards unless somebody holds a reference.
    using Dispatch = std::function<void(DornPacket&)>;
    // Called with the problem of the junk that is buffered; true when more bytes have arrived.
    using AwaitMore = std::function<bool(const Exception& problem)>;

    // Called before a packet's body of that many bytes is read; returns when it may be read, or
    // dropped if the packet was told so.
    using Admit = std::function<void(DornPacket& packet, std::size_t size)>;

    // The source writes the lines about the release of packets that could not be read. Without
    // admit every body is read at once.
    FrameReader(BufferedInputStream& input, CreatePacket create, Dispatch dispatch,
                AwaitMore awaitMore, LogSource& releaseLog, Admit admit = {});

    // Reads the next frame, or handles junk.
    // @throws SocketConnectionClosedException at the end of the stream, ProtocolErrorException for
    // a frame with a bad length or checksum, after consuming what was read of it; what the stream
    // and the functions throw
    void serve_frame();

  private:
    // The next header, which stays in the stream.
    dornframe::Header peek_header();
    // Reads the packet whose header was peeked and dispatches it.
    void receive(const dornframe::Header& header);
    void hold_junk(const Exception& problem);

    BufferedInputStream& input_;
    CreatePacket create_;
    Dispatch dispatch_;
    AwaitMore awaitMore_;
    LogSource& releaseLog_;
    Admit admit_;
};

}  // namespace teskd
