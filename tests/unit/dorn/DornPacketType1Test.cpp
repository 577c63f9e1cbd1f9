// The six meters of one machine or of all.

#include "MachineRequestFixture.h"

namespace teskd::test {
namespace {

class DornPacketType1Test : public MachineRequestFixture {
  protected:
    // The 20 bytes of the six numbers that the host gets for this payload.
    std::string numbers(const std::string& payload) {
        machine().answers().setBody(113, payload);
        const Frame answer = ask(1, bytes("00"));
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(43U, answer.body.size());
        return answer.body.substr(23);
    }
    std::uint8_t outcomeNumber(const std::string& outcome) {
        machine().answers().set(113, {.outcome = outcome, .body = "1~2~3~4~5~6"});
        return static_cast<std::uint8_t>(ask(1, bytes("00")).body.at(22));
    }
};

TEST_F(DornPacketType1Test, TheWholeRoadInBytes) {
    const std::string rest = bytes(
        "11 22 33 44 55 66"
        "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
        "01 02 03 04 05 06 07 08");
    machine().answers().set(113, {.outcome = "1A", .body = "1~2~3~4~5~6"});
    host().sendRaw(bytes("FF 81 02 01 00 00 00 02") + rest + bytes("00 4C"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("113~0008150~000C~113", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 01 00 00 00 2C") + rest, answer.header);
    EXPECT_BYTES(bytes("01 01 01") + kMachineDate +
                     bytes("01  00 00 00 01  00 00 00 02  00 03  00 00 00 04  00 00 00 05  00 06"),
                 behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(DornPacketType1Test, AsksTheMachineNamed) {
    EXPECT_EQ(0x81, ask(1, bytes("01") + "ZA000000001").kind);
    EXPECT_EQ("113~0008150~000C~113", atTheMachine());
}

TEST_F(DornPacketType1Test, ANameEndsAtItsFirstZeroByte) {
    link().park().machine(1).setCodeId("ZA1");
    ask(1, bytes("00"));
    EXPECT_EQ(0x81, ask(1, bytes("01") + name11("ZA1")).kind);
    EXPECT_EQ(0x81, ask(1, bytes("01") + "ZA1").kind);
    EXPECT_EQ(0x81, ask(1, bytes("01") + "ZA1" + bytes("00") + "rest").kind);
}

TEST_F(DornPacketType1Test, ANameReachesToTheEndOfTheBody) {
    link().park().machine(1).setCodeId("ZA0000000012345");
    ask(1, bytes("00"));
    EXPECT_EQ(0x81, ask(1, bytes("01") + "ZA0000000012345").kind);
}

TEST_F(DornPacketType1Test, AnySelectorButZeroMeansTheName) {
    expectBare(0xFD, 1, ask(1, bytes("FF") + "NOBODY"));
    EXPECT_EQ(0x81, ask(1, bytes("FF") + "ZA000000001").kind);
}

TEST_F(DornPacketType1Test, SelectorZeroNeedsNoName) {
    EXPECT_EQ(0x81, ask(1, bytes("00") + "NOBODY").kind);
}

TEST_F(DornPacketType1Test, AnUnknownNameIsAnsweredWithFD) {
    expectBare(0xFD, 1, ask(1, bytes("01") + "ZA000000002"));
    expectBare(0xFD, 1, ask(1, bytes("01")));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType1Test, AnEmptyBodyIsAnsweredWithABAndReachesNoMachine) {
    expectBare(0xAB, 1, ask(1, ""));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType1Test, MissingNumbersAreZero) {
    EXPECT_BYTES(bytes("00 00 00 00  00 00 00 00  00 00  00 00 00 00  00 00 00 00  00 00"),
                 numbers(""));
    EXPECT_BYTES(bytes("00 00 00 01  00 00 00 02  00 00  00 00 00 00  00 00 00 00  00 00"),
                 numbers("1~2"));
    EXPECT_BYTES(bytes("00 00 00 00  00 00 00 02  00 00  00 00 00 04  00 00 00 00  00 00"),
                 numbers("~2~~4"));
}

TEST_F(DornPacketType1Test, WhatIsNoNumberReadsAsFarAsItGoes) {
    EXPECT_BYTES(bytes("00 00 00 00  00 00 00 0C  00 03  00 00 00 04  00 00 00 05  00 06"),
                 numbers("x~12y~3.7~ 4~+5~6!"));
}

TEST_F(DornPacketType1Test, FurtherNumbersAreLeftOut) {
    EXPECT_BYTES(bytes("00 00 00 01  00 00 00 02  00 03  00 00 00 04  00 00 00 05  00 06"),
                 numbers("1~2~3~4~5~6~7~8"));
}

TEST_F(DornPacketType1Test, NumbersKeepTheirLowBytesAndTheLimitsOf32Bits) {
    EXPECT_BYTES(bytes("FF FF FF FF  80 00 00 00  00 01  7F FF FF FF  7F FF FF FF  FF FE"),
                 numbers("-1~-2147483648~65537~2147483647~4294967295~-2"));
}

TEST_F(DornPacketType1Test, EveryOutcomeHasItsNumber) {
    const char* const outcomes[] = {"00", "1A", "1B", "1C", "1D", "1E", "1F", "1G", "1H", "FF"};
    for (int number = 0; number < 10; ++number) {
        EXPECT_EQ(number, outcomeNumber(outcomes[number])) << outcomes[number];
    }
    EXPECT_EQ(0, outcomeNumber("ZZ"));
}

TEST_F(DornPacketType1Test, AnEmptyDateIsElevenZeroBytesAndALongOneIsCut) {
    machine().answers().set(113, {.date = "", .body = "1"});
    EXPECT_BYTES(bytes("00 00 00 00 00 00 00 00 00 00 00"),
                 ask(1, bytes("00")).body.substr(11, 11));
    machine().answers().set(113, {.date = "0123456789ABC", .body = "1"});
    EXPECT_BYTES("0123456789A", ask(1, bytes("00")).body.substr(11, 11));
}

}  // namespace
}  // namespace teskd::test
