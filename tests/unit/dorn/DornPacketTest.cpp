// One frame: read, checked, written, and turned into an answer.

#include <array>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/Exception.h"
#include "dorn/DornPacket.h"
#include "dorn/DornPacketType7.h"
#include "net/BufferedInputStream.h"
#include "net/FilterInputStream.h"
#include "net/MemoryInputStream.h"
#include "packet/PacketHandle.h"
#include "support/Bytes.h"
#include "support_src/ByteSink.h"
#include "support_src/KeptConfig.h"
#include "support_src/RecordingListener.h"

namespace teskd::test {
namespace {

using Outcomes = std::vector<Outcome>;
using Address = std::array<std::uint8_t, 6>;

const std::string kZeroStation = bytes("00 00 00 00 00 00");
const std::string kZeroReserved =
    bytes("00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
const std::string kZeroIdentifiers = bytes("00 00 00 00 00 00 00 00");
const std::string kZeroRest = kZeroStation + kZeroReserved + kZeroIdentifiers;

// Header FF 81 02 05, everything else zero; no body.
const std::string kEmptyFrame = bytes("FF 81 02 05 00 00 00 01") + kZeroRest + bytes("88");
// Every field of the header has a value of its own; a zero byte in the body.
const std::string kFullFrame = bytes(
    "FF 81 7E 03 00 00 00 05  11 22 33 44 55 66"
    "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
    "01 02 03 04 05 06 07 08  41 00 FF 42  4F");

const std::string kClosed =
    "IOException: SocketException: SocketConnectionClosedException: "
    "Remote Peer closed the connection.";

// Memory that hands out one byte at each reading and cannot go back.
class Trickle : public InputStream {
  public:
    explicit Trickle(std::string_view bytes) : memory_(bytes) {}
    using InputStream::read;
    int read() override { return memory_.read(); }
    int read(char* buffer, int) override {
        const int byte = memory_.read();
        if (byte < 0) return -1;
        *buffer = static_cast<char>(byte);
        return 1;
    }
    bool markSupported() override { return false; }

  private:
    MemoryInputStream memory_;
};

std::string written(DornPacket& packet) {
    ByteSink sink;
    packet.write(sink);
    return sink.bytes;
}

// What reading the bytes throws, the class in front; "" for nothing.
std::string problemOf(InputStream& in, DornPacket& packet) {
    try {
        packet.read(in);
    } catch (const SocketConnectionClosedException& e) {
        return "closed: " + e.getMessage();
    } catch (const ProtocolErrorException& e) {
        return "protocol: " + e.getMessage();
    }
    return {};
}

std::string problemOf(const std::string& bytes) {
    MemoryInputStream in(bytes);
    DornPacket packet;
    return problemOf(in, packet);
}

DornPacket& readFrom(DornPacket& packet, const std::string& bytes) {
    MemoryInputStream in(bytes);
    packet.read(in);
    return packet;
}

TEST(DornPacketTest, ANewPacketHasTheConfiguredStationAddressAndNothingElse) {
    DornPacket packet;
    EXPECT_BYTES(bytes("FF 81 02 00 00 00 00 01  FF FF FF FF FF 00") + kZeroReserved +
                     kZeroIdentifiers + bytes("7E"),
                 written(packet));
}

TEST(DornPacketTest, TheStationAddressIsReadFromTheConfigurationInHexadecimal) {
    const KeptConfig config;
    KeptConfig::set("[INTERNAL] MAC_ADDR_eth0", "0a:1B:2c:3D:4e:5F");
    DornPacket packet;
    EXPECT_BYTES(bytes("0A 1B 2C 3D 4E 5F"), written(packet).substr(8, 6));
}

TEST(DornPacketTest, AShortStationAddressLeavesTheRestZero) {
    const KeptConfig config;
    KeptConfig::set("[INTERNAL] MAC_ADDR_eth0", "0a:1b");
    DornPacket packet;
    EXPECT_BYTES(bytes("0A 1B 00 00 00 00"), written(packet).substr(8, 6));
}

TEST(DornPacketTest, APacketForAFrameThatWillBeReadHasNoStationAddressUntilThen) {
    DornPacketType7 packet;
    EXPECT_BYTES(kZeroStation, written(packet).substr(8, 6));
    EXPECT_BYTES(bytes("11 22 33 44 55 66"), written(readFrom(packet, kFullFrame)).substr(8, 6));
}

TEST(DornPacketTest, AFrameOfLengthOneHasNoBodyAndTheSumOfItsHeader) {
    DornPacket packet;
    EXPECT_EQ("", problemOf(kEmptyFrame));
    EXPECT_BYTES(kEmptyFrame, written(readFrom(packet, kEmptyFrame)));
}

TEST(DornPacketTest, WritesWhatItReadByteForByte) {
    DornPacket packet;
    EXPECT_BYTES(kFullFrame, written(readFrom(packet, kFullFrame)));
}

TEST(DornPacketTest, WritesAFrameInOnePiece) {
    DornPacket packet;
    readFrom(packet, kFullFrame);
    ByteSink sink;
    packet.write(sink);
    EXPECT_EQ(1, sink.blocks);
}

TEST(DornPacketTest, LeavesWhatStandsBehindTheFrame) {
    const std::string both = kFullFrame + kEmptyFrame;
    MemoryInputStream in(both);
    DornPacket one;
    DornPacket two;
    one.read(in);
    two.read(in);
    EXPECT_BYTES(kFullFrame, written(one));
    EXPECT_BYTES(kEmptyFrame, written(two));
    EXPECT_EQ(0U, in.available());
}

TEST(DornPacketTest, ASecondFrameReplacesTheFirst) {
    DornPacket packet;
    readFrom(packet, kFullFrame);
    EXPECT_BYTES(kEmptyFrame, written(readFrom(packet, kEmptyFrame)));
}

TEST(DornPacketTest, AFrameCutAnywhereEndsAsClosed) {
    for (const std::string& frame : {kEmptyFrame, kFullFrame}) {
        for (std::size_t cut = 0; cut < frame.size(); ++cut) {
            const std::string part = frame.substr(0, cut);
            EXPECT_EQ("closed: " + kClosed, problemOf(part)) << cut;

            MemoryInputStream memory(part);
            BufferedInputStream buffered(memory);
            DornPacket packet;
            EXPECT_EQ("closed: " + kClosed, problemOf(buffered, packet)) << cut << " buffered";

            Trickle trickle(part);
            EXPECT_EQ("closed: " + kClosed, problemOf(trickle, packet)) << cut << " trickling";
        }
    }
}

TEST(DornPacketTest, AFrameMayArriveOneByteAtATime) {
    for (const std::string& frame : {kEmptyFrame, kFullFrame}) {
        Trickle plain(frame);
        DornPacket packet;
        EXPECT_EQ("", problemOf(plain, packet));
        EXPECT_BYTES(frame, written(packet));

        Trickle inner(frame);
        BufferedInputStream buffered(inner);
        EXPECT_EQ("", problemOf(buffered, packet));
        EXPECT_BYTES(frame, written(packet));
    }
}

TEST(DornPacketTest, OtherStartBytesAreRefusedAndStayInTheStream) {
    for (const char* start : {"FE 81", "00 81", "FF 80", "FF 00", "81 FF", "FF FE", "FF AB"}) {
        const std::string frame = bytes(start) + kEmptyFrame.substr(2);
        EXPECT_EQ("protocol: ProtocolErrorException: Invalid Protocol Type Header",
                  problemOf(frame))
            << start;
        MemoryInputStream in(frame);
        DornPacket packet;
        problemOf(in, packet);
        EXPECT_EQ(43U, in.available()) << start;
    }
}

TEST(DornPacketTest, AStreamThatCannotGoBackIsTakenAsItComes) {
    const std::string frame = bytes("12 34 02 05 00 00 00 01") + kZeroRest + bytes("4E");
    DornPacket packet;
    Trickle in(frame);
    EXPECT_EQ("", problemOf(in, packet));
    EXPECT_BYTES(frame, written(packet));
}

TEST(DornPacketTest, AStreamThatCannotGoBackIsStillHeldToItsChecksum) {
    const std::string frame = bytes("12 34 02 05 00 00 00 01") + kZeroRest + bytes("4F");
    DornPacket packet;
    Trickle in(frame);
    EXPECT_EQ("protocol: ProtocolErrorException: Invalid Checksum (Was: 0x4f, should be: 0x4e)",
              problemOf(in, packet));
}

TEST(DornPacketTest, AWrongChecksumIsShownBeforeTheRightOne) {
    const std::string frame = bytes("FF 81 02 05 00 00 00 01 89") + kZeroRest.substr(1);
    EXPECT_EQ("", problemOf(frame + bytes("11")));
    EXPECT_EQ("protocol: ProtocolErrorException: Invalid Checksum (Was: 0x10, should be: 0x11)",
              problemOf(frame + bytes("10")));
}

TEST(DornPacketTest, AnyDamagedByteBehindTheLengthIsNoticed) {
    for (std::size_t i = 0; i < kFullFrame.size(); ++i) {
        if (i < 2 || (i >= 4 && i < 8)) continue;
        std::string frame = kFullFrame;
        frame[i] = static_cast<char>(frame[i] + 1);
        EXPECT_NE(std::string::npos, problemOf(frame).find("Invalid Checksum")) << i;
    }
}

TEST(DornPacketTest, ALengthOfZeroIsRefused) {
    EXPECT_EQ("protocol: ProtocolErrorException: Invalid Length (0x00000000)",
              problemOf(bytes("FF 81 02 05 00 00 00 00") + kZeroRest + bytes("87")));
}

TEST(DornPacketTest, ALengthAboveSixteenMebibytesIsRefused) {
    EXPECT_EQ("protocol: ProtocolErrorException: Invalid Length (0x01000001)",
              problemOf(bytes("FF 81 02 05 01 00 00 01") + kZeroRest + bytes("88")));
    EXPECT_EQ("protocol: ProtocolErrorException: Invalid Length (0xffffffff)",
              problemOf(bytes("FF 81 02 05 FF FF FF FF") + kZeroRest + bytes("88")));
    EXPECT_EQ("closed: " + kClosed,
              problemOf(bytes("FF 81 02 05 01 00 00 00") + kZeroRest + bytes("88")));
}

TEST(DornPacketTest, AFrameOfTheLargestLengthIsRead) {
    std::string frame = bytes("FF 81 02 05 01 00 00 00") + kZeroRest;
    frame.append(16U * 1024U * 1024U - 1U, '\x01');
    // FF + 81 + 02 + 05 + 01, and FFFFFF times 1
    frame += bytes("87");
    DornPacket packet;
    EXPECT_EQ(frame, written(readFrom(packet, frame)));
}

// What a request is written as, once it has ended, and what its listener is told.
void expectEnd(const std::function<void(DornPacket&)>& end, const std::string& outcome,
               const std::string& message, const std::string& frame) {
    RecordingListener listener;
    const PacketHandle<DornPacket> packet(new DornPacket);
    readFrom(*packet, kFullFrame);
    packet->addListener(&listener);
    end(*packet);
    EXPECT_EQ((Outcomes{{outcome, packet.pointer(), message}}), listener.outcomes());
    EXPECT_BYTES(frame, written(*packet));
}

TEST(DornPacketTest, ATimedOutRequestIsWrittenWithKindFEAndNoBody) {
    expectEnd([](DornPacket& packet) { packet.notifyFailed(); }, "failed", "",
              bytes("FF FE 7E 03 00 00 00 01") + kFullFrame.substr(8, 34) + bytes("46"));
}

TEST(DornPacketTest, AFailedRequestIsWrittenWithKindABAndNoBody) {
    expectEnd([](DornPacket& packet) { packet.notifyError(Exception("why")); }, "error", "why",
              bytes("FF AB 7E 03 00 00 00 01") + kFullFrame.substr(8, 34) + bytes("F3"));
}

TEST(DornPacketTest, AnAnsweredRequestIsToldAndStaysAsItIs) {
    expectEnd([](DornPacket& packet) { packet.notifyCompleted(); }, "completed", "", kFullFrame);
}

TEST(DornPacketTest, IdentifiersMatchOnlyBothTogether) {
    DornPacket packet;
    readFrom(packet, kFullFrame);
    EXPECT_TRUE(packet.identifiers_match(0x01020304, 0x05060708));
    EXPECT_FALSE(packet.identifiers_match(0x01020304, 0x05060709));
    EXPECT_FALSE(packet.identifiers_match(0x02020304, 0x05060708));
    EXPECT_FALSE(packet.identifiers_match(0x05060708, 0x01020304));
}

TEST(DornPacketTest, TheStationAddressEqualsOnlyInAllSixBytes) {
    DornPacket packet;
    readFrom(packet, kFullFrame);
    EXPECT_TRUE(packet.station_address_equals(Address{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
    for (std::size_t i = 0; i < 6; ++i) {
        Address other{0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
        ++other[i];
        EXPECT_FALSE(packet.station_address_equals(other)) << i;
    }
}

}  // namespace
}  // namespace teskd::test
