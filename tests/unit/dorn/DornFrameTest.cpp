#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "core/Exception.h"
#include "dorn/DornFrame.h"
#include "support/Bytes.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace dornframe;

// Every field has a value of its own.
const std::string kFull = bytes(
    "FF 81 7E 03 00 00 00 05  11 22 33 44 55 66"
    "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
    "01 02 03 04 F5 06 07 08");

Header headerOf(const std::string& bytes) {
    Header header{};
    bytes.copy(header.data(), header.size());
    return header;
}

Header withLength(const char* length) {
    return headerOf(bytes("FF 81 02 05") + bytes(length) + std::string(34, '\0'));
}

TEST(DornFrameHeader, IsThatOfARequestWithoutAddressAndIdentifiers) {
    EXPECT_BYTES(bytes("FF 81 02 FE") + std::string(38, '\0'), std::string(view(new_header(0xFE))));
}

TEST(DornFrameHeader, HasTheTypeTheLengthAndTheIdentifiers) {
    const Header header = headerOf(kFull);
    EXPECT_EQ(3, type_of(header));
    EXPECT_EQ(5U, length_of(header));
    EXPECT_TRUE((identifiers_of(kFull) == Identifiers{0x01020304, 0xF5060708}));
    EXPECT_EQ(0xFE, type_of(new_header(0xFE)));
}

TEST(DornFrameHeader, IdentifiersAreAllEightBytes) {
    EXPECT_THROW(identifiers_of(kFull.substr(0, 41)), std::out_of_range);
    EXPECT_FALSE((identifiers_of(kFull) == Identifiers{0x01020304, 0xF5060709}));
    EXPECT_FALSE((identifiers_of(kFull) == Identifiers{0x01020305, 0xF5060708}));
}

TEST(DornFrameHeader, TheStationAddressIsAllSixBytes) {
    const Header header = headerOf(kFull);
    EXPECT_TRUE(has_station(header, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
    EXPECT_FALSE(has_station(header, {0x11, 0x22, 0x33, 0x44, 0x55, 0x67}));
    EXPECT_FALSE(has_station(header, {0x10, 0x22, 0x33, 0x44, 0x55, 0x66}));
}

TEST(DornFrameHeader, EachFieldIsSetAndTheOthersStay) {
    Header header = headerOf(kFull);
    set_kind(header, Kind::FAILED);
    set_constant(header);
    set_station(header, {0x91, 0x92, 0x93, 0x94, 0x95, 0x96});
    set_identifiers(header, {0x81828384, 0x05860788});
    EXPECT_BYTES(bytes("FF AB 02 03 00 00 00 05  91 92 93 94 95 96"
                       "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
                       "81 82 83 84 05 86 07 88"),
                 std::string(view(header)));
}

TEST(DornFrameHeader, OnlyFF81BeginsAFrame) {
    EXPECT_TRUE(begins_frame(bytes("FF 81")));
    EXPECT_TRUE(begins_frame(kFull));
    for (const char* start : {"FE 81", "00 81", "FF 80", "FF 00", "81 FF", "FF FE", "FF AB"}) {
        EXPECT_FALSE(begins_frame(bytes(start))) << start;
    }
}

TEST(DornFrameHeader, TheBodyIsAByteShorterThanTheLengthAndAtMostSixteenMebibytes) {
    EXPECT_EQ(0U, body_size(withLength("00 00 00 01")));
    EXPECT_EQ(0x0203U, body_size(withLength("00 00 02 04")));
    EXPECT_EQ(0xFFFFFFU, body_size(withLength("01 00 00 00")));
    EXPECT_FALSE(body_size(withLength("00 00 00 00")));
    EXPECT_FALSE(body_size(withLength("01 00 00 01")));
    EXPECT_FALSE(body_size(withLength("FF FF FF FF")));
}

TEST(DornFrameEncode, SetsLengthAndChecksum) {
    EXPECT_BYTES(bytes("FF 81 02 05 00 00 00 01") + std::string(34, '\0') + bytes("88"),
                 encode(new_header(5), ""));
    EXPECT_BYTES(
        bytes("FF 81 02 05 00 00 00 05") + std::string(34, '\0') + bytes("41 00 FF 42  0E"),
        encode(new_header(5), bytes("41 00 FF 42")));
}

TEST(DornFrameEncode, KeepsEveryOtherFieldOfTheHeader) {
    EXPECT_BYTES(kFull.substr(0, 7) + bytes("02") + kFull.substr(8) + bytes("41 FB"),
                 encode(headerOf(kFull), "A"));
}

TEST(DornFrameClosed, IsTheEndOfTheConnection) {
    EXPECT_EQ(
        "IOException: SocketException: SocketConnectionClosedException: "
        "Remote Peer closed the connection.",
        messageOf<SocketConnectionClosedException>([] { throw_closed(); }));
}

TEST(DornFrameChecksum, OfNothingIsTheSeed) {
    EXPECT_EQ(0x00, dornframe::checksum(""));
    EXPECT_EQ(0x7F, dornframe::checksum("", 0x7F));
}

TEST(DornFrameChecksum, KeepsTheLowEightBitsOfTheSum) {
    EXPECT_EQ(0x88, dornframe::checksum(bytes("FF 81 02 05 01")));
    EXPECT_EQ(0xFD, dornframe::checksum(bytes("FF FF FF")));
}

TEST(DornFrameChecksum, CountsBytesAsUnsigned) {
    EXPECT_EQ(0x00, dornframe::checksum(bytes("80 80")));
    EXPECT_EQ(0xFF, dornframe::checksum(bytes("FF")));
}

TEST(DornFrameChecksum, ContinuesFromTheSeed) {
    EXPECT_EQ(0x05, dornframe::checksum(bytes("03"), 0x02));
    EXPECT_EQ(0x01, dornframe::checksum(bytes("02"), 0xFF));
}

TEST(DornFrameChecksum, IsNeitherComplementedNorFolded) {
    // A folded carry would give 02, a complement 00 or FF.
    EXPECT_EQ(0x01, dornframe::checksum(bytes("FF 02")));
}

}  // namespace
}  // namespace teskd::test
