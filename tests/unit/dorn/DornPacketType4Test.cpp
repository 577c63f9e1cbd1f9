// The timed entries of one machine or of all, in pages counted over all of them.

#include "MachineRequestFixture.h"

namespace teskd::test {
namespace {

const std::string kFields = "08:00:0020:00:00";

std::string pairs(std::size_t count) {
    std::string payload;
    for (std::size_t i = 0; i < count; ++i) {
        payload += (i == 0 ? "" : "~") + std::string("OPENDOOR~12:34:5");
    }
    return payload;
}

std::string sameEntries(std::size_t count) {
    std::string body;
    for (std::size_t i = 0; i < count; ++i) body += "OPENDOOR" + bytes("00 01  0C 22 05");
    return body;
}

class DornPacketType4Test : public MachineRequestFixture {
  protected:
    // What stands behind the page head's date when the machine answers this.
    std::string entries(const std::string& payload) {
        machine().answers().setBody(117, payload);
        const Frame answer = ask(4, kFields);
        EXPECT_EQ(0x81, answer.kind);
        return answer.body.substr(23);
    }
};

TEST_F(DornPacketType4Test, TheWholeRoadInBytes) {
    machine().answers().set(117, {.outcome = "1B", .body = "OPENDOOR~12:34:5!23:59:1~UP~00:01:0"});
    const Frame answer = ask(4, kFields + bytes("01") + "ZA000000001");

    EXPECT_EQ("117~001A~08:00:00~20:00:00150~000C~117", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 04  00 00 00 36"), answer.header.substr(0, 8));
    EXPECT_BYTES(bytes("01 01 02 01") + kMachineDate + bytes("02") + "OPENDOOR" +
                     bytes("00 02  0C 22 05  17 3B 01") + "UP" +
                     bytes("00 00 00 00 00 00  00 01  00 01 00"),
                 behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(DornPacketType4Test, AShortBodyIsFilledWithZeroBytesAndAsksEveryMachine) {
    EXPECT_EQ(0x81, ask(4, "").kind);
    EXPECT_EQ("117~0009~150~000C~117", atTheMachine());
    EXPECT_EQ(0x81, ask(4, "08:00").kind);
    EXPECT_EQ("117~000F~08:00~150~000C~117", atTheMachine());
    EXPECT_EQ(0x81, ask(4, kFields).kind);
    EXPECT_EQ("117~001A~08:00:00~20:00:00150~000C~117", atTheMachine());
}

TEST_F(DornPacketType4Test, TheRecordEndsAfter28Bytes) {
    EXPECT_EQ(0x81, ask(4, kFields + bytes("01") + "ZA000000001" + "more").kind);
}

TEST_F(DornPacketType4Test, AnUnknownNameIsAnsweredWithFD) {
    expectBare(0xFD, 4, ask(4, kFields + bytes("01") + "ZA000000009"));
    expectBare(0xFD, 4, ask(4, kFields + bytes("01")));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType4Test, AnEmptyAnswerIsOnePageWithoutEntries) {
    EXPECT_BYTES(bytes("00"), entries(""));
}

TEST_F(DornPacketType4Test, AnOddLastItemIsNoEntry) {
    EXPECT_BYTES(bytes("00"), entries("OPENDOOR"));
    EXPECT_BYTES(bytes("01") + sameEntries(1), entries("OPENDOOR~12:34:5~UP"));
}

TEST_F(DornPacketType4Test, MalformedValuesReadAsFarAsTheyGo) {
    EXPECT_BYTES(bytes("01") + "OPENDOOR" +
                     bytes("00 09"
                           "00 00 00"
                           "01 00 00"
                           "0C 00 00"
                           "0C 00 00"
                           "0C 03 00"
                           "0C 22 00"
                           "0C 22 00"
                           "00 22 05"
                           "0C 22 05"),
                 entries("OPENDOOR~!1!12!12:!12:3!12:34!12:34:!xx:34:5!12:34:56"));
}

TEST_F(DornPacketType4Test, SixHundredPairsComeInThreePages) {
    machine().answers().setBody(117, pairs(600));
    const Frame one = ask(4, kFields);
    const Frame two = host().readFrame();
    const Frame three = host().readFrame();
    EXPECT_BYTES(bytes("03 01 00 01") + kMachineDate + bytes("FF") + sameEntries(255),
                 behindDate(one));
    EXPECT_BYTES(bytes("03 02 00 01") + kMachineDate + bytes("FF") + sameEntries(255),
                 behindDate(two));
    EXPECT_BYTES(bytes("03 03 00 01") + kMachineDate + bytes("5A") + sameEntries(90),
                 behindDate(three));
}

TEST_F(DornPacketType4Test, AnExactMultipleOf510ItemsEndsWithAnEmptyPage) {
    machine().answers().setBody(117, pairs(255));
    EXPECT_BYTES(bytes("02 01 00 01") + kMachineDate + bytes("FF") + sameEntries(255),
                 behindDate(ask(4, kFields)));
    EXPECT_BYTES(bytes("02 02 00 01") + kMachineDate + bytes("00"), behindDate(host().readFrame()));
}

TEST_F(DornPacketType4Test, ATrailerMakesTheConstantTwo) {
    machine().setCodeId("ZP000000001");
    machine().answers().set(117, {.body = pairs(1), .trailer = std::string(268, 't')});
    Frame request{.constant = 0x77, .type = 4, .body = kFields};
    host().send(request);
    const Frame answer = host().readFrame();
    EXPECT_EQ(0x02, answer.constant);
    EXPECT_BYTES(bytes("01 01 00 01") + kMachineDate + bytes("01") + sameEntries(1),
                 behindDate(answer));
}

// Two machines; one has three pages, the other one.
class DornPacketType4OfTwoTest : public testing::Test {
  protected:
    DornPacketType4OfTwoTest() {
        link_.machine(1).answers().setBody(117, pairs(600));
        link_.machine(2).answers().setBody(117, pairs(1));
    }
    // Total and number of every page, with what the machine of the page answers last.
    std::string pageHeads(std::size_t last) {
        link_.machine(last).setFaults({.silent = true});
        link_.host().request(4, kFields);
        std::string heads;
        const std::size_t early = last == 1 ? 1 : 3;
        for (std::size_t i = 0; i < early; ++i) heads += head();
        EXPECT_TRUE(link_.machine(last).journal().waitForRequest(117));
        link_.machine(last).inject(lateAnswer(last));
        for (std::size_t i = early; i < 4; ++i) heads += head();
        return heads;
    }

    HostLink link_{2};

  private:
    std::string head() { return behindDate(link_.host().readFrame()).substr(0, 2); }
    static std::string lateAnswer(std::size_t machine) {
        const std::string name = MachinePark::nameOf(machine);
        return machine == 1 ? "117~27F8~15.03.21~" + name + "~00~" + pairs(600)
                            : "117~0031~15.03.21~" + name + "~00~" + pairs(1);
    }
};

TEST_F(DornPacketType4OfTwoTest, ThePagesOfTheFirstAnswerAddToTheTotalOfTheSecond) {
    EXPECT_BYTES(bytes("04 01  04 02  04 03  04 04"), pageHeads(2));
}

TEST_F(DornPacketType4OfTwoTest, APageSentBeforeTheLongAnswerKnowsNothingOfItsPages) {
    EXPECT_BYTES(bytes("02 01  04 02  04 03  04 04"), pageHeads(1));
}

}  // namespace
}  // namespace teskd::test
