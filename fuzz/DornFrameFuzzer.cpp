// Anything that a host may send, in any pieces, through the reader of a host connection.

#include <string>
#include <string_view>

#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/app/PacketTypes.h"
#include "dorn/DornPacket.h"
#include "dorn/FrameReader.h"
#include "fuzz/FragmentedInputStream.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/LargestAllocation.h"
#include "fuzz/Require.h"
#include "net/BufferedInputStream.h"
#include "net/MemoryInputStream.h"
#include "net/OutputStream.h"
#include "packet/Packet.h"
#include "packet/PacketHandle.h"

namespace {

using teskd::fuzz::require;

constexpr std::size_t HEADER = 42;
// More than any block that the reader takes before the bytes for it are there.
constexpr std::size_t ALLOWANCE = 32768;

class Frames : public teskd::OutputStream {
  public:
    using teskd::OutputStream::write;
    void write(const char* frame, std::size_t len) override { bytes.append(frame, len); }

    std::string bytes;
};

unsigned byte_at(std::string_view bytes, std::size_t position) {
    return static_cast<unsigned char>(bytes[position]);
}

bool is_sound(std::string_view frame) {
    if (frame.size() <= HEADER || byte_at(frame, 0) != 0xFF || byte_at(frame, 1) != 0x81) {
        return false;
    }
    std::size_t length = 0;
    for (std::size_t i = 4; i < 8; ++i) length = length * 256 + byte_at(frame, i);
    unsigned sum = 0;
    for (const char byte : frame.substr(0, frame.size() - 1)) {
        sum += static_cast<unsigned char>(byte);
    }
    return length == frame.size() - HEADER && sum % 256 == byte_at(frame, frame.size() - 1);
}

std::string written(teskd::DornPacket& packet) {
    Frames frames;
    packet.write(frames);
    return frames.bytes;
}

// The bytes the packet was read from; it is written as it was read, and read from that once more.
void check_packet(teskd::DornPacket& packet, std::string_view frame) {
    require(is_sound(frame), "an accepted frame is one");
    require(written(packet) == frame, "a packet is written as it was read");
    teskd::DornPacket copy;
    teskd::MemoryInputStream again(frame);
    copy.read(again);
    require(again.available() == 0, "a frame is read to its end");
    require(written(copy) == frame, "what was written is read as the same frame");
}

class Host {
  public:
    Host(const std::uint8_t* data, std::size_t size)
        : bytes_(data, size, teskd::fuzz::FragmentedInputStream::TimeOuts::none) {}

    void serve() {
        while (serves_frame()) {
            require(taken() > start_, "each frame takes bytes");
            start_ = taken();
        }
    }

  private:
    // False when the host has gone.
    bool serves_frame() {
        try {
            serve_frame();
        } catch (const teskd::SocketConnectionClosedException&) {
            return false;
        } catch (const teskd::ProtocolErrorException&) {
            // A damaged frame; the next one may be sound.
        }
        return true;
    }

    void serve_frame() {
        const teskd::PacketHandle<teskd::DornPacket> packet = reader_.next();
        if (!packet) return reader_.drop_buffered();
        reader_.read(*packet);
        take(*packet);
    }

    std::size_t taken() const { return bytes_.position() - reader_.buffered(); }

    void take(teskd::DornPacket& packet) {
        check_packet(packet, bytes_.bytes().substr(start_, taken() - start_));
    }

    teskd::fuzz::FragmentedInputStream bytes_;
    teskd::BufferedInputStream input_{bytes_};
    teskd::FrameReader reader_{input_, teskd::createPacket, teskd::LogSource::unlimited()};
    std::size_t start_ = 0;  // of the frame being read
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const teskd::fuzz::LargestAllocation memory;
    Host(data, size).serve();
    require(memory.size() <= 4 * size + ALLOWANCE, "memory is taken for bytes that are there");
    require(teskd::packet_counter == 0, "no packet is left");
    return 0;
}
