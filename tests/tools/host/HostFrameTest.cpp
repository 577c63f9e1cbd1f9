#include <gtest/gtest.h>

#include "host/DecodeError.h"
#include "host/Frame.h"
#include "support/Bytes.h"

namespace {

using teskd::test::bytes;
using teskhost::DecodeError;
using teskhost::Frame;
using teskhost::Kind;

// A frame of type 5 with the identifiers 1 and 2 and the body "AB".
std::string example() {
    return bytes(
        "FF 81 02 05 00 00 00 03 00 00 00 00 00 00"
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 01 00 00 00 02 41 42 10");
}

TEST(HostFrame, IsWrittenWithLengthAndChecksum) {
    Frame frame{.type = 5, .identifierA = 1, .identifierB = 2, .body = "AB"};
    EXPECT_BYTES(example(), frame.encode());
}

TEST(HostFrame, IsRead) {
    std::string data = example();
    data[1] = '\xFE';
    data.back() = '\x8D';
    const Frame frame = Frame::decode(data);
    EXPECT_EQ(Kind::TimedOut, frame.kind);
    EXPECT_EQ(5, frame.type);
    EXPECT_EQ(1U, frame.identifierA);
    EXPECT_EQ(2U, frame.identifierB);
    EXPECT_EQ("AB", frame.body);
    EXPECT_EQ("0xFE: a machine gave no answer in time", frame.kindInWords());
}

TEST(HostFrame, RefusesWhatIsNoFrame) {
    EXPECT_THROW(Frame::decode(""), DecodeError);
    EXPECT_THROW(Frame::decode(example().substr(0, 41)), DecodeError);
    EXPECT_THROW(Frame::decode(example() + "x"), DecodeError);
    for (const std::size_t broken : {0U, 4U, 7U, 20U, 44U}) {
        std::string data = example();
        data[broken] = static_cast<char>(data[broken] ^ 1);
        EXPECT_THROW(Frame::decode(data), DecodeError) << "byte " << broken;
    }
}

}  // namespace
