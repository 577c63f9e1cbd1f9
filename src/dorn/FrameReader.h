// Splits the bytes from a host into packets.
#pragma once

#include <cstddef>
#include <string>

#include "dorn/CreatePacket.h"
#include "dorn/DornFrame.h"
#include "packet/PacketHandle.h"

namespace teskd {

class BufferedInputStream;
class DornPacket;
class LogSource;

// Reads one frame after another: next() makes the packet for a frame, read() reads the frame into
// it. In between the caller may wait until the body may be read.
//
// What begins no frame is junk, and stays buffered until the caller drops it.
//
// Owner: a Dorn, for one run. Threads: one at a time. Ownership: refers to the stream and the log's
// source.
class FrameReader {
  public:
    // The source writes the lines about the release of packets that could not be read.
    FrameReader(BufferedInputStream& input, CreatePacket create, LogSource& releaseLog)
        : input_(input), create_(create), releaseLog_(releaseLog) {}

    // The packet for the next frame, or none for junk. No byte of either is consumed.
    // @throws SocketConnectionClosedException at the end of the stream; what the stream throws
    PacketHandle<DornPacket> next();
    // Of the frame for which next() made a packet; 0 for a length that no frame has.
    std::size_t body_size() const { return dornframe::body_size(header_).value_or(0); }
    // Why the last next() found junk, as the log says it.
    const std::string& problem() const { return problem_; }

    // Reads that frame into the packet.
    // @throws as DornPacket::read, after consuming what was read of a damaged frame
    void read(DornPacket& packet);
    // Drops junk with all that is buffered behind it.
    void drop_buffered();
    // Bytes in the buffer.
    std::size_t buffered() const;

  private:
    void peek_header();

    BufferedInputStream& input_;
    CreatePacket create_;
    LogSource& releaseLog_;
    dornframe::Header header_{};
    std::string problem_;
};

}  // namespace teskd
