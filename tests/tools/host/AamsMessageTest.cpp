#include <gtest/gtest.h>

#include "host/AamsMessage.h"
#include "host/DecodeError.h"
#include "support/Bytes.h"

namespace {

using teskd::test::bytes;
using teskhost::AamsMessage;
using teskhost::DecodeError;

TEST(HostAamsMessage, IsWrittenWithBothLengths) {
    EXPECT_BYTES(bytes("00 00 00 0B") + "501-000B-0C", AamsMessage(501, "-0C").encode());
    EXPECT_BYTES(bytes("00 00 00 08") + "001-0008", AamsMessage(1, "").encode());
}

TEST(HostAamsMessage, IsRead) {
    const AamsMessage message = AamsMessage::decode(bytes("00 00 00 0B") + "501-000B-0C");
    EXPECT_EQ(501, message.code());
    EXPECT_EQ("-0C", message.body());
    EXPECT_EQ("", AamsMessage::decode(bytes("00 00 00 08") + "001-0008").body());
}

TEST(HostAamsMessage, MayBeLongerThanFourDigitsTell) {
    const std::string body = "-" + std::string(0x10000, 'x');
    EXPECT_EQ(body, AamsMessage::decode(AamsMessage(503, body).encode()).body());
}

TEST(HostAamsMessage, RefusesWrongLengthsAndNumbers) {
    EXPECT_THROW(AamsMessage::decode(""), DecodeError);
    EXPECT_THROW(AamsMessage::decode(bytes("00 00 00 0C") + "501-000B-0C"), DecodeError);
    EXPECT_THROW(AamsMessage::decode(bytes("00 00 00 0B") + "501-000B-0"), DecodeError);
    EXPECT_THROW(AamsMessage::decode(bytes("00 00 00 0B") + "5x1-000B-0C"), DecodeError);
    EXPECT_THROW(AamsMessage::decode(bytes("00 00 00 0B") + "501-00zB-0C"), DecodeError);
}

}  // namespace
