// The entries of one machine between two names, in pages.

#include "MachineRequestFixture.h"

namespace teskd::test {
namespace {

const std::string kRequest = "CNT00001CNT99999ZA000000001";

class DornPacketType2Test : public MachineRequestFixture {
  protected:
    // What stands behind the page head when the machine answers this.
    std::string entries(const std::string& payload) {
        machine().answers().setBody(115, payload);
        const Frame answer = ask(2, kRequest);
        EXPECT_EQ(0x81, answer.kind);
        return answer.body.substr(22);
    }
    static std::string pairs(std::size_t count) {
        std::string payload;
        for (std::size_t i = 0; i < count; ++i) {
            payload += (i == 0 ? "" : "~") + std::string("METER001~01=7");
        }
        return payload;
    }
    static std::string sameEntries(std::size_t count) {
        std::string body;
        for (std::size_t i = 0; i < count; ++i) body += "METER001" + bytes("00 01 01 00 00 00 07");
        return body;
    }
};

TEST_F(DornPacketType2Test, TheWholeRoadInBytes) {
    machine().answers().set(115, {.outcome = "1H", .body = "CNTTOTIN~01=100!02=200~AB~99:7"});
    const Frame answer = ask(2, kRequest);

    EXPECT_EQ("115~001A~CNT00001~CNT99999150~000C~115", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 02  00 00 00 3B"), answer.header.substr(0, 8));
    EXPECT_BYTES(bytes("01 01") + kMachineDate + bytes("08 02") + "CNTTOTIN" +
                     bytes("00 02  01 00 00 00 64  02 00 00 00 C8") + "AB" +
                     bytes("00 00 00 00 00 00  00 01  63 00 00 00 07"),
                 behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(DornPacketType2Test, FieldsEndAtTheirFirstZeroByte) {
    EXPECT_EQ(0x81, ask(2, "A" + bytes("00 42 43 44 45 46 47") + "BC" + bytes("00 00 00 00 00 00") +
                               "ZA000000001")
                        .kind);
    EXPECT_EQ("115~000D~A~BC150~000C~115", atTheMachine());
}

TEST_F(DornPacketType2Test, BytesBehindTheNameAreNoPartOfIt) {
    EXPECT_EQ(0x81, ask(2, kRequest + "more").kind);
}

TEST_F(DornPacketType2Test, AnUnknownNameIsAnsweredWithFD) {
    expectBare(0xFD, 2, ask(2, "CNT00001CNT99999ZA000000009"));
    expectBare(0xFD, 2, ask(2, "CNT00001CNT99999"));
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType2Test, FewerThanSixteenBytesAreAnsweredWithAB) {
    for (std::size_t size = 0; size < 16; ++size) {
        expectBare(0xAB, 2, ask(2, kRequest.substr(0, size)));
    }
    expectNothingAtTheMachine();
}

TEST_F(DornPacketType2Test, AnEmptyAnswerIsOnePageWithoutEntries) {
    EXPECT_BYTES(bytes("00"), entries(""));
}

TEST_F(DornPacketType2Test, AnOddLastItemIsNoEntry) {
    EXPECT_BYTES(bytes("00"), entries("METER001"));
    EXPECT_BYTES(bytes("01") + "METER001" + bytes("00 01 01 00 00 00 07"),
                 entries("METER001~01=7~METER002"));
}

TEST_F(DornPacketType2Test, MalformedValuesReadAsFarAsTheyGo) {
    const std::string values = "!1!12!12=!xx=5!12=x!-1=-1!12=4294967295!12=1.9!123=4";
    EXPECT_BYTES(bytes("01") + "METER001" +
                     bytes("00 0A"
                           "00 00 00 00 00"
                           "01 00 00 00 00"
                           "0C 00 00 00 00"
                           "0C 00 00 00 00"
                           "00 00 00 00 05"
                           "0C 00 00 00 00"
                           "FF FF FF FF FF"
                           "0C 7F FF FF FF"
                           "0C 00 00 00 01"
                           "0C 00 00 00 00"),
                 entries("METER001~" + values));
}

TEST_F(DornPacketType2Test, ValueWithALongTagTakesTheThirdCharacterAsItsSeparator) {
    EXPECT_BYTES(bytes("01") + "METER001" + bytes("00 01 0C 00 00 00 2D"),
                 entries("METER001~12345"));
}

TEST_F(DornPacketType2Test, SixHundredPairsComeInPagesOf255And255And90) {
    machine().answers().setBody(115, pairs(600));
    const Frame one = ask(2, kRequest);
    const Frame two = host().readFrame();
    const Frame three = host().readFrame();
    EXPECT_BYTES(bytes("03 01") + kMachineDate + bytes("00 FF") + sameEntries(255),
                 behindDate(one));
    EXPECT_BYTES(bytes("03 02") + kMachineDate + bytes("00 FF") + sameEntries(255),
                 behindDate(two));
    EXPECT_BYTES(bytes("03 03") + kMachineDate + bytes("00 5A") + sameEntries(90),
                 behindDate(three));
    for (const Frame& page : {one, two, three}) {
        EXPECT_EQ(0x81, page.kind);
        EXPECT_EQ(7U, page.identifierA);
        EXPECT_EQ(8U, page.identifierB);
        EXPECT_TRUE(page.checksumOk);
    }
}

TEST_F(DornPacketType2Test, AnExactMultipleOf510ItemsEndsWithAnEmptyPage) {
    machine().answers().setBody(115, pairs(510));
    const Frame one = ask(2, kRequest);
    const Frame two = host().readFrame();
    const Frame three = host().readFrame();
    EXPECT_BYTES(bytes("03 01") + kMachineDate + bytes("00 FF"), behindDate(one).substr(0, 15));
    EXPECT_BYTES(bytes("03 02") + kMachineDate + bytes("00 FF"), behindDate(two).substr(0, 15));
    EXPECT_BYTES(bytes("03 03") + kMachineDate + bytes("00 00"), behindDate(three));
}

TEST_F(DornPacketType2Test, NothingFollowsTheLastPage) {
    machine().answers().setBody(115, pairs(254));
    EXPECT_BYTES(bytes("01 01") + kMachineDate + bytes("00 FE") + sameEntries(254),
                 behindDate(ask(2, kRequest)));
    // The next frame is the answer to the next request.
    EXPECT_EQ(7, ask(7, "").type);
}

TEST_F(DornPacketType2Test, ATrailerMakesTheConstantTwo) {
    machine().setCodeId("ZN000000001");
    ask(1, bytes("00"));
    machine().answers().set(115, {.body = "METER001~01=7", .trailer = std::string(268, 't')});
    Frame request{.constant = 0x77, .type = 2, .body = "CNT00001CNT99999ZN000000001"};
    host().send(request);
    const Frame answer = host().readFrame();
    EXPECT_EQ(0x02, answer.constant);
    EXPECT_BYTES(bytes("01 01") + kMachineDate + bytes("00 01") + sameEntries(1),
                 behindDate(answer));
}

}  // namespace
}  // namespace teskd::test
