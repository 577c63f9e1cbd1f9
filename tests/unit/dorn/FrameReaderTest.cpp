// The bytes of a host, cut into packets without a connection.

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/app/PacketTypes.h"
#include "dorn/DornPacket.h"
#include "dorn/FrameReader.h"
#include "net/BufferedInputStream.h"
#include "packet/Packet.h"
#include "packet/PacketHandle.h"
#include "support/Bytes.h"
#include "support/Frame.h"
#include "support_src/ByteSink.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using Texts = std::vector<std::string>;

const std::string kClosed =
    "IOException: SocketException: SocketConnectionClosedException: "
    "Remote Peer closed the connection.";
const std::string kUnknownType =
    "IOException: Dorn Got Junk on Input: 0x9 does not match any packet type.";

std::string frameOfType(std::uint8_t type, const std::string& body = {}) {
    return Frame{.type = type, .body = body}.encode();
}

class FrameReaderTest : public testing::Test {
  protected:
    // What the host sends, a piece at a time.
    void hostSends(const Texts& pieces) {
        std::vector<ScriptedInputStream::Event> script;
        for (const std::string& piece : pieces) {
            script.emplace_back(piece);
            script.emplace_back(Pause{});
        }
        host_ = ScriptedInputStream(script);
    }
    // Takes what comes next, as a connection does.
    void serveFrame() {
        const PacketHandle<DornPacket> packet = reader_.next();
        if (!packet) {
            problems_.push_back(reader_.problem());
            if (moreArrives_) reader_.drop_buffered();
            return;
        }
        reader_.read(*packet);
        ByteSink sink;
        packet->write(sink);
        frames_.push_back(sink.bytes);
    }
    // Serves frames to the end; the problem of each, empty for none.
    Texts problems() {
        Texts all;
        do {
            all.push_back(messageOf<Exception>([this] { serveFrame(); }));
        } while (all.back() != kClosed && all.size() < 20);
        return all;
    }

    const unsigned long packetsBefore_ = packet_counter;
    ScriptedInputStream host_{};
    BufferedInputStream input_{host_};
    bool moreArrives_ = true;
    Texts frames_;    // of the packets dispatched
    Texts problems_;  // of the bytes held
    FrameReader reader_{input_, createPacket, LogSource::unlimited()};
};

TEST_F(FrameReaderTest, MakesAPacketOfEachFrame) {
    Texts sent;
    for (const int type : {1, 2, 3, 4, 5, 6, 7, 8, 0xFE}) {
        sent.push_back(frameOfType(static_cast<std::uint8_t>(type), "body"));
    }
    std::string together;
    for (const std::string& frame : sent) together += frame;
    hostSends({together});
    problems();
    EXPECT_EQ(sent, frames_);
    EXPECT_EQ(Texts{}, problems_);
    EXPECT_EQ(packetsBefore_, packet_counter);
}

TEST_F(FrameReaderTest, TakesFramesThatComeByteByByte) {
    const std::string first = frameOfType(6, std::string(3000, 'b'));
    const std::string second = frameOfType(7);
    Texts pieces;
    for (const char byte : first + second) pieces.emplace_back(1, byte);
    hostSends(pieces);
    problems();
    EXPECT_EQ((Texts{first, second}), frames_);
}

TEST_F(FrameReaderTest, DropsWhatIsHeldWhenMoreArrivesBehindAnUnknownType) {
    hostSends({frameOfType(9) + "rest", frameOfType(7)});
    problems();
    EXPECT_EQ(Texts{kUnknownType}, problems_);
    EXPECT_EQ(Texts{frameOfType(7)}, frames_);
}

TEST_F(FrameReaderTest, DropsWhatIsHeldWhenMoreArrivesBehindABadStart) {
    std::string bad = frameOfType(7);
    bad[1] = '\x80';
    hostSends({bad + "rest", frameOfType(8)});
    problems();
    EXPECT_EQ(Texts{"ProtocolErrorException: Invalid Protocol Type Header"}, problems_);
    EXPECT_EQ(Texts{frameOfType(8)}, frames_);
    EXPECT_EQ(packetsBefore_, packet_counter);
}

TEST_F(FrameReaderTest, HoldsWhatIsNoFrameUntilMoreArrives) {
    moreArrives_ = false;
    hostSends({frameOfType(9)});
    serveFrame();
    serveFrame();
    EXPECT_EQ((Texts{kUnknownType, kUnknownType}), problems_);
    EXPECT_EQ(43U, reader_.buffered());
}

TEST_F(FrameReaderTest, TellsTheSizeOfABodyBeforeItReadsIt) {
    const std::string frame = frameOfType(6, "body");
    hostSends({frame});
    const PacketHandle<DornPacket> packet = reader_.next();
    EXPECT_EQ(4U, reader_.body_size());
    EXPECT_EQ(frame.size(), reader_.buffered());
    reader_.read(*packet);
    EXPECT_EQ(0U, reader_.buffered());
}

TEST_F(FrameReaderTest, ReadsNothingOfABodyWithABadLength) {
    std::string bad = frameOfType(7, "body");
    bad[4] = '\xFF';
    hostSends({bad});
    const PacketHandle<DornPacket> packet = reader_.next();
    EXPECT_EQ(0U, reader_.body_size());
    EXPECT_EQ("ProtocolErrorException: Invalid Length (0xff000005)",
              messageOf<ProtocolErrorException>([&] { reader_.read(*packet); }));
    EXPECT_EQ(5U, reader_.buffered());
}

TEST_F(FrameReaderTest, ReportsADamagedFrameAndReadsTheNext) {
    std::string damaged = frameOfType(7, "body");
    damaged.back() = static_cast<char>(damaged.back() + 1);
    hostSends({damaged + frameOfType(8)});
    const Texts all = problems();
    ASSERT_EQ(3U, all.size());
    EXPECT_EQ("ProtocolErrorException: Invalid Checksum", all[0].substr(0, 40));
    EXPECT_EQ(kClosed, all[2]);
    EXPECT_EQ(Texts{frameOfType(8)}, frames_);
    EXPECT_EQ(Texts{}, problems_);
}

TEST_F(FrameReaderTest, EndsWithTheStream) {
    EXPECT_EQ(Texts{kClosed}, problems());
    EXPECT_EQ(Texts{}, frames_);
}

}  // namespace
}  // namespace teskd::test
