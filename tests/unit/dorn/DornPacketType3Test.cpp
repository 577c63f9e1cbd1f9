// The entries of one machine between two numbers.

#include "MachineRequestFixture.h"

namespace teskd::test {
namespace {

class DornPacketType3Test : public MachineRequestFixture {};

TEST_F(DornPacketType3Test, TheWholeRoadInBytes) {
    machine().answers().setBody(119, "ERRORS~10=7");
    const Frame answer = ask(3, bytes("00 05 01 00") + "ZA000000001");

    EXPECT_EQ("119~000E~5~256150~000C~119", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 03  00 00 00 27"), answer.header.substr(0, 8));
    EXPECT_BYTES(bytes("01 01") + kMachineDate + bytes("00 01") + "ERRORS" +
                     bytes("00 00  00 01  0A 00 00 00 07"),
                 behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(DornPacketType3Test, ItsNumbersAreUnsigned) {
    ask(3, bytes("FF FF 80 00") + "ZA000000001");
    EXPECT_EQ("119~0014~65535~32768150~000C~119", atTheMachine());
    ask(3, bytes("00 00 00 0A") + "ZA000000001");
    EXPECT_EQ("119~000D~0~10150~000C~119", atTheMachine());
}

TEST_F(DornPacketType3Test, ItsAnswerIsPagedLikeThatOfType2) {
    std::string payload = "A~1";
    for (int i = 0; i < 255; ++i) payload += "~A~1";
    machine().answers().setBody(119, payload);
    const Frame one = ask(3, bytes("00 01 00 02") + "ZA000000001");
    const Frame two = host().readFrame();
    EXPECT_BYTES(bytes("02 01") + kMachineDate + bytes("00 FF"), behindDate(one).substr(0, 15));
    EXPECT_BYTES(bytes("02 02") + kMachineDate + bytes("00 01") + "A" +
                     bytes("00 00 00 00 00 00 00  00 01  01 00 00 00 00"),
                 behindDate(two));
}

TEST_F(DornPacketType3Test, AnUnknownNameIsAnsweredWithFD) {
    expectBare(0xFD, 3, ask(3, bytes("00 05 01 00") + "ZA000000009"));
    expectBare(0xFD, 3, ask(3, bytes("00 05 01 00")));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType3Test, FewerThanFourBytesAreAnsweredWithAB) {
    for (const char* body : {"", "00", "00 05", "00 05 01"}) {
        expectBare(0xAB, 3, ask(3, bytes(body)));
    }
    expectNothingAtTheMachine();
}

}  // namespace
}  // namespace teskd::test
