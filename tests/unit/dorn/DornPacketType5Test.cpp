// One message of the host's choice.

#include "MachineRequestFixture.h"

namespace teskd::test {
namespace {

// Selector, name and message ID.
std::string body(const char* selector, const char* name, const char* id) {
    return bytes(selector) + name11(name) + bytes(id);
}

class DornPacketType5Test : public MachineRequestFixture {
  protected:
    // The 12 bytes of number and text that the host gets.
    std::string content(int id, const std::string& idByte, const std::string& payload) {
        machine().answers().setBody(id, payload);
        const Frame answer = ask(5, body("00", "", idByte.c_str()));
        EXPECT_EQ(0x81, answer.kind);
        EXPECT_EQ(35U, answer.body.size());
        return answer.body.substr(23);
    }
};

TEST_F(DornPacketType5Test, TheWholeRoadInBytesForANumber) {
    machine().answers().set(114, {.outcome = "FF", .body = "70000"});
    const Frame answer = ask(5, body("01", "ZA000000001", "72"));

    EXPECT_EQ("114~0008150~000C~114", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 05  00 00 00 24"), answer.header.substr(0, 8));
    EXPECT_BYTES(
        bytes("01 01 01") + kMachineDate + bytes("09  00 01 11 70  00 00 00 00 00 00 00 00"),
        behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(DornPacketType5Test, TheWholeRoadInBytesForAText) {
    machine().answers().set(118, {.outcome = "00", .body = "A1B2C3D4E5"});
    const Frame answer = ask(5, body("00", "", "76"));

    EXPECT_EQ("118~0008150~000C~118", atTheMachine());
    EXPECT_BYTES(bytes("01 01 01") + kMachineDate + bytes("00  00 00 00 00") + "A1B2C3D4",
                 behindDate(answer));
}

TEST_F(DornPacketType5Test, AShortTextIsFilledWithZeroBytes) {
    EXPECT_BYTES(bytes("00 00 00 00") + "AB" + bytes("00 00 00 00 00 00"),
                 content(118, "76", "AB"));
    EXPECT_BYTES(bytes("00 00 00 00  00 00 00 00 00 00 00 00"), content(118, "76", ""));
}

TEST_F(DornPacketType5Test, ATextIsNotReadAsANumber) {
    EXPECT_BYTES(bytes("00 00 00 00") + "123" + bytes("00 00 00 00 00"), content(118, "76", "123"));
}

TEST_F(DornPacketType5Test, NumbersAreSignedAndReadAsFarAsTheyGo) {
    const std::string noText = bytes("00 00 00 00 00 00 00 00");
    EXPECT_BYTES(bytes("FF FF FF FE") + noText, content(114, "72", "-2"));
    EXPECT_BYTES(bytes("00 00 00 0C") + noText, content(114, "72", "12~34"));
    EXPECT_BYTES(bytes("00 00 00 00") + noText, content(114, "72", "x"));
    EXPECT_BYTES(bytes("00 00 00 00") + noText, content(114, "72", ""));
    EXPECT_BYTES(bytes("7F FF FF FF") + noText, content(114, "72", "99999999999"));
    EXPECT_BYTES(bytes("80 00 00 00") + noText, content(114, "72", "-99999999999"));
}

TEST_F(DornPacketType5Test, TheAnswerToAnyOtherMessageIsANumber) {
    for (const auto& [id, byte] : {std::pair{114, "72"}, {117, "75"}, {119, "77"}, {120, "78"}}) {
        EXPECT_BYTES(bytes("00 00 00 7B  00 00 00 00 00 00 00 00"), content(id, byte, "123"));
    }
}

TEST_F(DornPacketType5Test, TheIdIsAnUnsignedByte) {
    ask(5, body("00", "", "FF"));
    EXPECT_EQ("255~0008150~000C~255", atTheMachine());
}

TEST_F(DornPacketType5Test, AnUnknownNameIsAnsweredWithFD) {
    expectBare(0xFD, 5, ask(5, body("01", "ZA000000009", "72")));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType5Test, FewerThanThirteenBytesAreAnsweredWithAB) {
    const std::string whole = body("00", "ZA000000001", "72");
    for (std::size_t size = 0; size < 13; ++size) {
        expectBare(0xAB, 5, ask(5, whole.substr(0, size)));
    }
    expectNothingAtTheMachine();
}

}  // namespace
}  // namespace teskd::test
