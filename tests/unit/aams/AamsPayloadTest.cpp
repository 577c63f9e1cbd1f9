// The layout of the AAMS payload: written and read.

#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "aams/AamsPayload.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using aamspayload::build;
using aamspayload::code_id;

const std::string kPrefix = bytes("00 00 00 0B");

std::int32_t codeOf(const std::string& text) {
    return code_id(kPrefix + text);
}

TEST(AamsPayloadBuild, PutsPrefixCodeAndLengthInFrontOfTheBody) {
    EXPECT_BYTES(bytes("00 00 00 0B") + "501-000B-0C", build(501, "-0C"));
}

TEST(AamsPayloadBuild, AnEmptyBodyHasLengthEight) {
    EXPECT_BYTES(bytes("00 00 00 08") + "001-0008", build(1, ""));
}

TEST(AamsPayloadBuild, TheCodeIsFilledUpToThreeDigitsAndNeverCut) {
    EXPECT_BYTES(bytes("00 00 00 08") + "000-0008", build(0, ""));
    EXPECT_BYTES(bytes("00 00 00 08") + "042-0008", build(42, ""));
    EXPECT_BYTES(bytes("00 00 00 08") + "1234-0008", build(1234, ""));
    EXPECT_BYTES(bytes("00 00 00 08") + "-07-0008", build(-7, ""));
    EXPECT_BYTES(bytes("00 00 00 08") + "-2147483648-0008",
                 build(std::numeric_limits<std::int32_t>::min(), ""));
}

TEST(AamsPayloadBuild, TheLengthIsInUpperCaseHexadecimal) {
    const std::string body(0xABCD - 8, 'x');
    EXPECT_BYTES(bytes("00 00 AB CD") + "503-ABCD" + body, build(503, body));
}

TEST(AamsPayloadBuild, TheLengthFieldWidensBeyondFourDigits) {
    const std::string widest(0xFFFF - 8, 'x');
    EXPECT_BYTES(bytes("00 00 FF FF") + "503-FFFF" + widest, build(503, widest));
    const std::string wider(0x10000 - 8, 'x');
    EXPECT_BYTES(bytes("00 01 00 00") + "503-10000" + wider, build(503, wider));
}

TEST(AamsPayloadBuild, ABodyMayHaveAnyBytes) {
    const std::string body = bytes("00 FF 2D 00");
    EXPECT_BYTES(bytes("00 00 00 0C") + "503-000C" + body, build(503, body));
}

TEST(AamsPayloadCode, IsTheNumberBehindThePrefix) {
    EXPECT_EQ(506, codeOf("506-0011-10!1!0!5"));
    EXPECT_EQ(506, code_id(bytes("FF FF FF FF") + "506-0011"));
}

TEST(AamsPayloadCode, EndsAtAnyCharacterThatIsNoDigit) {
    for (const char* const text : {"506-0011", "506!0011", "506 0011", "506x0011", "506~0011-"}) {
        EXPECT_EQ(506, codeOf(text)) << text;
    }
}

TEST(AamsPayloadCode, OfAPayloadWithoutOneIsZero) {
    for (const std::string& payload :
         {std::string(), std::string("\x01"), std::string("\x01\x02\x03"), kPrefix}) {
        EXPECT_EQ(0, code_id(payload));
    }
    EXPECT_EQ(506, codeOf("506"));
    EXPECT_EQ(506, codeOf("506-"));
    EXPECT_EQ(5, codeOf("5"));
    EXPECT_EQ(0, codeOf("~11"));
}

TEST(AamsPayloadCode, IsReadNoFurtherThanThePayloadsEnd) {
    const std::string beyond = kPrefix + "506-0011-10!1";
    EXPECT_EQ(50, code_id(std::string_view(beyond.data(), 6)));
}

TEST(AamsPayloadCode, OfGarbageIsZero) {
    for (const std::string& text :
         {bytes("FF FE 00 01 80 7F"), std::string("~~~~~~~~"), std::string("abc-0011"),
          std::string("-"), std::string(300, '\0'), std::string(300, '\xFF')}) {
        EXPECT_EQ(0, codeOf(text));
    }
}

TEST(AamsPayloadCode, HasTheLimitsOf32Bits) {
    EXPECT_EQ(2147483647, codeOf("2147483647-0008"));
    EXPECT_EQ(2147483647, codeOf("2147483648-0008"));
    EXPECT_EQ(2147483647, codeOf("99999999999999999999999-0008"));
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), codeOf("-2147483648-0008"));
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), codeOf("-99999999999999-0008"));
}

}  // namespace
}  // namespace teskd::test
