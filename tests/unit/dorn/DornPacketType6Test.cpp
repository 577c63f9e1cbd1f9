// Bytes of the host's own.

#include "MachineRequestFixture.h"

namespace teskd::test {
namespace {

const std::string kTarget = "ZA000000001" + bytes("01 02 03 04");

class DornPacketType6Test : public MachineRequestFixture {};

TEST_F(DornPacketType6Test, TheWholeRoadInBytes) {
    machine().answers().set(120, {.outcome = "1C", .body = "4711"});
    const Frame answer = ask(6, kTarget + "120~000D~ABCD");

    EXPECT_EQ("120~000D~ABCD150~000C~120", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 06  00 00 00 2A"), answer.header.substr(0, 8));
    EXPECT_BYTES(bytes("00 00 00 25") + "120~0025~15.03.21~ZA000000001~1C~4711", answer.body);
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(DornPacketType6Test, AnAnswerWithoutABodyHasNoSeparatorAtItsEnd) {
    machine().answers().set(120, {.body = ""});
    EXPECT_BYTES(bytes("00 00 00 20") + "120~0020~15.03.21~ZA000000001~00",
                 ask(6, kTarget + "120~0008").body);
}

TEST_F(DornPacketType6Test, TheAnswerIncludesTheTrailerAndTheConstantIsTwo) {
    machine().setCodeId("ZN000000001");
    ask(1, bytes("00"));
    machine().answers().set(120, {.body = "4711", .trailer = std::string(268, 't')});
    Frame request{
        .constant = 0x77, .type = 6, .body = "ZN000000001" + bytes("00 00 00 00") + "120~0008"};
    host().send(request);
    const Frame answer = host().readFrame();
    EXPECT_EQ(0x02, answer.constant);
    EXPECT_BYTES(
        bytes("00 00 01 31") + "120~0131~15.03.21~ZN000000001~00~4711" + std::string(268, 't'),
        answer.body);
}

TEST_F(DornPacketType6Test, AnUnknownNameIsAnsweredWithFD) {
    expectBare(0xFD, 6, ask(6, name11("ZA2") + bytes("00 00 00 00") + "120~0008"));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType6Test, FewerThanFifteenBytesAreAnsweredWithAB) {
    for (std::size_t size = 0; size < 15; ++size) {
        expectBare(0xAB, 6, ask(6, kTarget.substr(0, size)));
    }
    expectNothingAtTheMachine();
}

}  // namespace
}  // namespace teskd::test
