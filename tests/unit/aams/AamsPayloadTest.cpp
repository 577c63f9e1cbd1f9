// The layout of the AAMS payload: written and read.

#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "aams/AamsPayload.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using aamspayload::build;
using aamspayload::Head;
using aamspayload::parse;

const std::string kPrefix = bytes("00 00 00 0B");

Head headOf(const std::string& text) {
    return parse(kPrefix + text);
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

TEST(AamsPayloadParse, ReadsPrefixCodeAndLength) {
    const Head head = headOf("506-0011-10!1!0!5");
    EXPECT_BYTES(bytes("00 00 00 0B"), head.prefix);  // and is not held against the length
    EXPECT_EQ(506, head.code_id);
    EXPECT_EQ(0x11, head.length);
}

TEST(AamsPayloadParse, ReadsALengthOfFiveDigitsWhole) {
    EXPECT_EQ(0x10000, headOf("503-10000-x").length);
    EXPECT_EQ(0xABCDE, headOf("503-aBcDe-x").length);
}

TEST(AamsPayloadParse, AnyCharacterSeparatesCodeAndLength) {
    for (const char* const text : {"506-0011", "506!0011", "506 0011", "506x0011", "506~0011-"}) {
        EXPECT_EQ(506, headOf(text).code_id) << text;
        EXPECT_EQ(0x11, headOf(text).length) << text;
    }
}

TEST(AamsPayloadParse, ExactlyOneCharacterIsSkippedBehindTheCode) {
    EXPECT_EQ(-0x11, headOf("506--0011").length);
    EXPECT_EQ(0, headOf("506-~0011").length);
}

TEST(AamsPayloadParse, WhatIsMissingReadsAsAbsent) {
    for (const std::string& payload :
         {std::string(), std::string("\x01"), std::string("\x01\x02\x03"), kPrefix}) {
        const Head head = parse(payload);
        EXPECT_BYTES(payload, head.prefix);
        EXPECT_EQ(0, head.code_id);
        EXPECT_EQ(0, head.length);
    }
    for (const char* const text : {"506", "506-"}) {
        EXPECT_EQ(506, headOf(text).code_id) << text;
        EXPECT_EQ(0, headOf(text).length) << text;
    }
    EXPECT_EQ(5, headOf("5").code_id);
}

TEST(AamsPayloadParse, APayloadIsReadNoFurtherThanItsEnd) {
    const std::string beyond = kPrefix + "506-0011-10!1";
    const std::string_view cutInCode(beyond.data(), 6);
    EXPECT_EQ(50, parse(cutInCode).code_id);
    EXPECT_EQ(0, parse(cutInCode).length);
    const std::string_view cutInLength(beyond.data(), 11);
    EXPECT_EQ(506, parse(cutInLength).code_id);
    EXPECT_EQ(1, parse(cutInLength).length);
}

TEST(AamsPayloadParse, GarbageReadsAsNoCode) {
    for (const std::string& text :
         {bytes("FF FE 00 01 80 7F"), std::string("~~~~~~~~"), std::string("abc-0011"),
          std::string("-"), std::string(300, '\0'), std::string(300, '\xFF')}) {
        EXPECT_EQ(0, headOf(text).code_id);
    }
}

TEST(AamsPayloadParse, WithoutACodeTheLengthFollowsOneCharacterLater) {
    EXPECT_EQ(0x11, headOf("~11").length);
    EXPECT_EQ(0, headOf("~11").code_id);
}

TEST(AamsPayloadParse, NumbersHaveTheLimitsOf32Bits) {
    EXPECT_EQ(2147483647, headOf("2147483647-0008").code_id);
    EXPECT_EQ(2147483647, headOf("2147483648-0008").code_id);
    EXPECT_EQ(2147483647, headOf("99999999999999999999999-0008").code_id);
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), headOf("-2147483648-0008").code_id);
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), headOf("-99999999999999-0008").code_id);
    EXPECT_EQ(8, headOf("99999999999999999999999-0008").length);
    EXPECT_EQ(2147483647, headOf("503-7FFFFFFF").length);
    EXPECT_EQ(2147483647, headOf("503-80000000").length);
    EXPECT_EQ(2147483647, headOf("503-FFFFFFFFFFFFFFFFFFFF").length);
}

}  // namespace
}  // namespace teskd::test
