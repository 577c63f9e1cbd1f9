#include <gtest/gtest.h>

#include "dorn/DornFrame.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

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
