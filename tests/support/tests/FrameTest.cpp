#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "support/Frame.h"
#include "support/HostClient.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

const std::string kEmptyType5 = bytes(
    "FF 81 02 05 00 00 00 01 00 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 88");

TEST(Frame, AnEmptyBodyHasLengthOne) {
    Frame frame{.type = 5};
    EXPECT_BYTES(kEmptyType5, frame.encode());
}

TEST(Frame, ReadsWhatItWrote) {
    Frame frame{.kind = 0xFE,
                .type = 3,
                .station = bytes("01 02 03 04 05 06"),
                .identifierA = 0x01020304,
                .identifierB = 0xFFFEFDFC,
                .body = bytes("00 FF 7E")};
    const std::optional<Frame> read = parseFrame(frame.encode());
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(0xFE, read->kind);
    EXPECT_EQ(3, read->type);
    EXPECT_EQ(4U, read->length);
    EXPECT_BYTES(frame.station, read->station);
    EXPECT_EQ(0x01020304U, read->identifierA);
    EXPECT_EQ(0xFFFEFDFCU, read->identifierB);
    EXPECT_BYTES(frame.body, read->body);
    EXPECT_TRUE(read->checksumOk);
}

TEST(Frame, AWrongChecksumIsSeen) {
    std::string data = kEmptyType5;
    data.back() = '\x87';
    ASSERT_TRUE(parseFrame(data).has_value());
    EXPECT_FALSE(parseFrame(data)->checksumOk);
    EXPECT_EQ(0x87, parseFrame(data)->checksum);
}

TEST(Frame, TheWrongSizeIsNoFrame) {
    EXPECT_FALSE(parseFrame(kEmptyType5 + "x").has_value());
    EXPECT_FALSE(parseFrame(kEmptyType5.substr(0, 42)).has_value());
}

TEST(FrameHostClient, SendsRequestsAndReadsFrames) {
    Listener listener;
    HostClient host(listener.port());
    Connection daemon = listener.accept();
    host.request(1, bytes("00"), 7, 8);
    const std::string request = daemon.readExactly(44);
    EXPECT_BYTES(bytes("FF 81 02 01 00 00 00 02"), request.substr(0, 8));
    EXPECT_BYTES(bytes("00 00 00 07 00 00 00 08 00"), request.substr(34, 9));
    EXPECT_EQ(checksumOf(request.substr(0, 43)), static_cast<unsigned char>(request.back()));

    EXPECT_FALSE(host.readFrameWithin(std::chrono::milliseconds(0)).has_value());
    daemon.sendByteByByte(kEmptyType5);
    EXPECT_EQ(5, host.readFrame().type);
}

TEST(FrameHostClient, NamesHaveElevenBytes) {
    EXPECT_BYTES(std::string("ABC\0\0\0\0\0\0\0\0", 11), name11("ABC"));
    EXPECT_BYTES("SlotMachine", name11("SlotMachine_1"));
}

}  // namespace
}  // namespace teskd::test
