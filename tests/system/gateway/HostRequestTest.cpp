// The eight requests of a host, each as its transcript: bytes from the host, bytes at the machine,
// bytes back.

#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "gateway/RestOfHeader.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

const std::string kDate = bytes("31 35 2E 30 33 2E 32 31 00 00 00");  // "15.03.21", 11 bytes

// One machine that is known, and a host; the machine's journal is empty.
class HostRequest : public testing::Test {
  protected:
    void SetUp() override {
        gateway_.startKnown();
        host_ = std::make_unique<HostClient>(gateway_.host());
        machine().journal().clear();
    }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    tesksim::Machine& machine() { return gateway_.machine(1); }
    HostClient& host() { return *host_; }

    // What the machine received for one request, its acknowledgement included.
    std::string atTheMachine() {
        EXPECT_TRUE(machine().journal().waitForAcknowledgements(1));
        return machine().journal().dataReceived();
    }

    Gateway gateway_{1};
    std::unique_ptr<HostClient> host_;
};

TEST_F(HostRequest, Type1ReadsTheMetersOfEveryMachine) {
    machine().answers().setBody(113, "100~200~1~4294967295~70000~9");
    host().sendRaw(bytes("FF 81 02 01  00 00 00 02") + kRest + bytes("00  37"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("113~0008150~000C~113", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 01  00 00 00 2C") + kRest, answer.header);
    EXPECT_BYTES(bytes("01 01 01") + kDate +
                     bytes("00  00 00 00 64  00 00 00 C8  00 01  7F FF FF FF  00 01 11 70  00 09"),
                 behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(HostRequest, Type1ReadsTheMetersOfTheMachineNamed) {
    host().sendRaw(bytes("FF 81 02 01  00 00 00 0D") + kRest + bytes("01") + "ZA000000001" +
                   bytes("8F"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("113~0008150~000C~113", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 01  00 00 00 2C") + kRest, answer.header);
    EXPECT_BYTES(bytes("01 01 01") + kDate +
                     bytes("00  00 00 00 64  00 00 00 C8  00 01  00 00 00 64  00 00 00 C8  00 00"),
                 behindDate(answer));
}

TEST_F(HostRequest, Type2AsksForARangeOfEntries) {
    host().sendRaw(bytes("FF 81 02 02  00 00 00 1C") + kRest + "CNT00001" + "CNT99999" +
                   "ZA000000001" + bytes("76"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("115~001A~CNT00001~CNT99999150~000C~115", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 02  00 00 00 3B") + kRest, answer.header);
    EXPECT_BYTES(bytes("01 01") + kDate + bytes("00 02") + "CNTTOTIN" +
                     bytes("00 02  01 00 00 00 64  02 00 00 00 C8") + "CNTTOTOT" +
                     bytes("00 01  01 00 00 01 2C"),
                 behindDate(answer));
    EXPECT_TRUE(answer.checksumOk);
}

TEST_F(HostRequest, Type3AsksWithTwoNumbers) {
    host().sendRaw(bytes("FF 81 02 03  00 00 00 10") + kRest + bytes("00 05 01 00") +
                   "ZA000000001" + bytes("99"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("119~000E~5~256150~000C~119", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 03  00 00 00 3B") + kRest, answer.header);
    EXPECT_BYTES(bytes("01 01") + kDate + bytes("00 02") + "ERRORS  " +
                     bytes("00 02  0A 00 00 00 07  0B 00 00 00 08") + "RESETS  " +
                     bytes("00 01  0C 00 00 00 09"),
                 behindDate(answer));
}

TEST_F(HostRequest, Type3ReadsItsNumbersUnsigned) {
    host().request(3, bytes("FF FF 80 00") + "ZA000000001");
    EXPECT_EQ(0x81, host().readFrame().kind);
    EXPECT_EQ("119~0014~65535~32768150~000C~119", atTheMachine());
}

TEST_F(HostRequest, Type4AsksForATimetable) {
    host().sendRaw(bytes("FF 81 02 04  00 00 00 1D") + kRest + "08:00:00" + "20:00:00" +
                   bytes("01") + "ZA000000001" + bytes("D4"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("117~001A~08:00:00~20:00:00150~000C~117", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 04  00 00 00 36") + kRest, answer.header);
    EXPECT_BYTES(bytes("01 01 00 01") + kDate + bytes("02") + "OPENDOOR" +
                     bytes("00 02  0C 22 05  17 3B 01") + "POWERUP " + bytes("00 01  00 01 00"),
                 behindDate(answer));
}

TEST_F(HostRequest, AShortType4BodyIsFilledWithZeroBytes) {
    host().request(4, "08:00:00");
    const Frame answer = host().readFrame();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ("117~0012~08:00:00~150~000C~117", atTheMachine());
}

TEST_F(HostRequest, Type5SendsACodeAndReturnsText) {
    host().sendRaw(bytes("FF 81 02 05  00 00 00 0E") + kRest + bytes("01") + "ZA000000001" +
                   bytes("76  0A"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("118~0008150~000C~118", atTheMachine());
    EXPECT_BYTES(bytes("FF 81 02 05  00 00 00 24") + kRest, answer.header);
    EXPECT_BYTES(bytes("01 01 01") + kDate + bytes("00  00 00 00 00") + "A1B2C3D4",
                 behindDate(answer));
}

TEST_F(HostRequest, Type5SendsACodeAndReturnsANumber) {
    machine().answers().setBody(114, "-2");
    host().sendRaw(bytes("FF 81 02 05  00 00 00 0E") + kRest + bytes("01") + "ZA000000001" +
                   bytes("72  06"));

    const Frame answer = host().readFrame();
    EXPECT_EQ("114~0008150~000C~114", atTheMachine());
    EXPECT_BYTES(bytes("01 01 01") + kDate + bytes("00  FF FF FF FE  00 00 00 00 00 00 00 00"),
                 behindDate(answer));
}

TEST_F(HostRequest, Type6PassesBytesOnAsTheyAreAndReturnsTheWholeAnswer) {
    host().sendRaw(bytes("FF 81 02 06  00 00 00 18") + kRest + "ZA000000001" +
                   bytes("01 02 03 04") + "120~0008" + bytes("81"));

    EXPECT_BYTES(bytes("FF 81 02 06  00 00 00 2A") + kRest + bytes("00 00 00 25") +
                     "120~0025~15.03.21~ZA000000001~00~4711" + bytes("5A"),
                 readWire(host()));
    EXPECT_EQ("120~0008150~000C~120", atTheMachine());
}

TEST_F(HostRequest, Type7ReturnsTheSoftwareVersionAtOnce) {
    host().sendRaw(bytes("FF 81 02 07  00 00 00 01") + kRest + bytes("3C"));
    EXPECT_BYTES(bytes("FF 81 02 07  00 00 00 1F") + kRest + "<unknown" + std::string(22, '\0') +
                     bytes("A6"),
                 readWire(host()));
    EXPECT_TRUE(machine().journal().requests().empty());
}

TEST_F(HostRequest, Type8ListsTheMachines) {
    host().sendRaw(bytes("FF 81 02 08  00 00 00 01") + kRest + bytes("3D"));
    EXPECT_BYTES(bytes("FF 81 02 08  00 00 00 10") + kRest + bytes("01") + "ZA000000001" +
                     bytes("01 00 00  9A"),
                 readWire(host()));
}

TEST_F(HostRequest, TheOutcomeOfAnAnswerIsTranslated) {
    const std::pair<const char*, int> table[] = {{"00", 0}, {"1A", 1}, {"1B", 2}, {"1C", 3},
                                                 {"1D", 4}, {"1E", 5}, {"1F", 6}, {"1G", 7},
                                                 {"1H", 8}, {"FF", 9}, {"zz", 0}};
    for (const auto& [outcome, number] : table) {
        tesksim::Answer answer;
        answer.outcome = outcome;
        answer.body = "1~2~3~4~5~6";
        machine().answers().set(113, answer);
        host().request(1, named("\1", "ZA000000001"));
        EXPECT_EQ(number, host().readFrame().body.at(22)) << outcome;
    }
}

TEST_F(HostRequest, AnAnswerWithATrailerSetsTheConstantOfTheHeader) {
    tesksim::Answer answer;
    answer.codeId = "ZN000000001";
    answer.body = "1~2~3~4~5~6";
    answer.trailer = std::string(268, 'T');
    machine().answers().set(113, answer);
    Frame request{.constant = 0x07, .type = 1, .body = std::string(1, '\0')};
    host().send(request);
    const Frame withTrailer = host().readFrame();
    EXPECT_EQ(0x02, withTrailer.constant);
    EXPECT_EQ(6U, withTrailer.body.at(42));

    machine().answers().reset(113);
    host().send(request);
    EXPECT_EQ(0x07, host().readFrame().constant);
}

TEST_F(HostRequest, EntriesThatExceedAPageComeInSeveralFrames) {
    std::string payload;
    for (int i = 0; i < 600; ++i) payload += (i == 0 ? "" : "~") + std::string("CNT00001~01=5");
    machine().answers().setBody(115, payload);
    host().request(2, named("CNT00001CNT99999", "ZA000000001"));

    for (const auto& [page, entries] : {std::pair{1, 255}, {2, 255}, {3, 90}}) {
        const Frame answer = host().readFrame();
        EXPECT_EQ(3, answer.body.at(8));
        EXPECT_EQ(page, answer.body.at(9));
        EXPECT_EQ(entries, static_cast<unsigned char>(answer.body.at(22)));
        EXPECT_EQ(23U + static_cast<unsigned>(entries) * 15U, answer.body.size());
        EXPECT_BYTES("CNT00001" + bytes("00 01  01 00 00 00 05"), answer.body.substr(23, 15));
    }
    EXPECT_FALSE(host().readFrameWithin(std::chrono::milliseconds(200)).has_value());
}

TEST_F(HostRequest, AFullLastPageIsFollowedByAnEmptyOne) {
    std::string payload;
    for (int i = 0; i < 255; ++i) payload += (i == 0 ? "" : "~") + std::string("POWERUP ~01:02:3");
    machine().answers().setBody(117, payload);
    host().request(4, named("08:00:0020:00:00\1", "ZA000000001"));

    const Frame full = host().readFrame();
    EXPECT_BYTES(bytes("02 01 00 01") + kDate + bytes("FF") + "POWERUP " + bytes("00 01  01 02 03"),
                 behindDate(full).substr(0, 29));
    const Frame empty = host().readFrame();
    EXPECT_BYTES(bytes("02 02 00 01") + kDate + bytes("00"), behindDate(empty));
}

}  // namespace
}  // namespace teskd::test
