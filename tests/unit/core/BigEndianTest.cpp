#include <gtest/gtest.h>
#include <stdexcept>

#include "core/BigEndian.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

TEST(BigEndian, AppendsTheHighByteFirst) {
    std::string out = "x";
    bigendian::append16(out, 0x0102);
    bigendian::append32(out, 0xA1B2C3D4);
    EXPECT_BYTES(bytes("78 01 02 A1 B2 C3 D4"), out);
}

TEST(BigEndian, AppendsOnlyTheLow16Bits) {
    std::string out;
    bigendian::append16(out, 0xFFFF1234);
    EXPECT_BYTES(bytes("12 34"), out);
}

TEST(BigEndian, AppendsTheLimits) {
    std::string out;
    bigendian::append16(out, 0);
    bigendian::append16(out, 0xFFFF);
    bigendian::append32(out, 0);
    bigendian::append32(out, 0xFFFFFFFF);
    EXPECT_BYTES(bytes("00 00 FF FF 00 00 00 00 FF FF FF FF"), out);
}

TEST(BigEndian, ReadsAtAnOffset) {
    const std::string in = bytes("00 01 02 A1 B2 C3 D4");
    EXPECT_EQ(0x0102, bigendian::read16(in, 1));
    EXPECT_EQ(0xA1B2C3D4U, bigendian::read32(in, 3));
}

TEST(BigEndian, ReadsHighBytesAsUnsigned) {
    EXPECT_EQ(0xFFFE, bigendian::read16(bytes("FF FE"), 0));
    EXPECT_EQ(0xFFFFFFFEU, bigendian::read32(bytes("FF FF FF FE"), 0));
}

TEST(BigEndian, ReadingPastTheEndThrows) {
    const std::string four = bytes("01 02 03 04");
    EXPECT_THROW(bigendian::read16("", 0), std::out_of_range);
    EXPECT_THROW(bigendian::read16(four, 3), std::out_of_range);
    EXPECT_THROW(bigendian::read32(four, 1), std::out_of_range);
    EXPECT_THROW(bigendian::read32(four, 5), std::out_of_range);
    EXPECT_THROW(bigendian::read32(four, std::string::npos), std::out_of_range);
}

TEST(BigEndian, PutsAtAnOffsetAndTouchesNothingElse) {
    std::string out = bytes("EE EE EE EE EE EE");
    bigendian::put32(out.data(), out.size(), 1, 0x01020304);
    EXPECT_BYTES(bytes("EE 01 02 03 04 EE"), out);
}

TEST(BigEndian, PuttingPastTheEndThrowsAndTouchesNothing) {
    std::string out = bytes("EE EE EE EE");
    EXPECT_THROW(bigendian::put32(out.data(), out.size(), 1, 0x01020304), std::out_of_range);
    EXPECT_THROW(bigendian::put32(out.data(), out.size(), 9, 0x01020304), std::out_of_range);
    EXPECT_BYTES(bytes("EE EE EE EE"), out);
}

}  // namespace
}  // namespace teskd::test
