// What a real daemon says, to a machine, to a host and to the notification server, captured on the
// way and shown.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <set>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "wireshark/TcpRelay.h"
#include "wireshark/Tshark.h"

namespace teskd::test {
namespace {

using Side = CaptureFile::Side;

constexpr Side kHost{1, 40000};
constexpr Side kListening{2, 5001};
constexpr Side kCalling{2, 41000};
constexpr Side kMachine{3, 2100};
constexpr Side kNotifying{2, 42000};
constexpr Side kServer{4, 5001};

const std::string kName = "ZA000000001";

const std::vector<std::string> kFields = {"dorn.answer",
                                          "dorn.kind",
                                          "dorn.machine.known",
                                          "dorn.version",
                                          "dorn.cnttotin",
                                          "dorn.entry.name",
                                          "dorn.value.value",
                                          "dorn.times.first",
                                          "dorn.answer.text",
                                          "dorn.malformed",
                                          "aams.code",
                                          "aams.mac",
                                          "aams.result",
                                          "aams.model",
                                          "aams.state",
                                          "aams.context",
                                          "aams.period",
                                          "aams.malformed",
                                          "tesk.id",
                                          "tesk.body",
                                          "tesk.answer",
                                          "tesk.malformed",
                                          "dorn.request_in",
                                          "dorn.checksum.status",
                                          "tesk.acknowledges",
                                          "tesk.com_port.command"};

// What lines are left without.
const std::set<std::string> kCommon = {"dorn.answer", "dorn.request_in", "dorn.checksum.status",
                                       "tesk.answer", "tesk.com_port.command"};

// By the order of the requests; the notification server's come first.
const std::vector<std::string> kAnswers = {
    "dorn.cnttotin=100 dorn.kind=0x81",
    "dorn.entry.name=CNTTOTIN|CNTTOTOT dorn.kind=0x81 dorn.value.value=100|200|300",
    "dorn.entry.name=ERRORS  |RESETS   dorn.kind=0x81 dorn.value.value=7|8|9",
    "dorn.entry.name=OPENDOOR|POWERUP  dorn.kind=0x81 dorn.times.first=12|23|0",
    "dorn.answer.text=A1B2C3D4 dorn.kind=0x81",
    "dorn.kind=0x81 tesk.body=4711 tesk.id=120",
    "dorn.kind=0x81 dorn.version=1.2.3",
    "dorn.kind=0x81 dorn.machine.known=0",
    "dorn.kind=0xfd",
    "aams.code=501 aams.mac=0001020a0b0c aams.model=BOX7 aams.result=00 dorn.kind=0x81",
    "aams.code=502 aams.mac=0001020a0b0c aams.result=00 aams.state=3 dorn.kind=0x81 "
    "tesk.body=100~200~1~100~200~0 tesk.id=113",
    "aams.code=503 aams.context=04 aams.mac=0001020a0b0c aams.result=00 dorn.kind=0x81 "
    "tesk.body=100~200~1~100~200~0 tesk.id=113",
    "aams.code=504 aams.mac=0001020a0b0c aams.result=0E dorn.kind=0x81",
    "aams.code=505 aams.mac=0001020a0b0c aams.period=9 aams.result=00 dorn.kind=0x81",
    "dorn.kind=0x81",
    "aams.code=507 aams.mac=0001020a0b0c aams.result=FF dorn.kind=0x81"};

const std::vector<std::string> kMessages = {
    "tesk.body=100~200~1~100~200~0 tesk.id=113",
    "tesk.body=100~200~1~100~200~0 tesk.id=113",
    "tesk.body=CNTTOTIN~01=100!02=200~CNTTOTOT~01=300 tesk.id=115",
    "tesk.body=ERRORS  ~10=7!11=8~RESETS  ~12=9 tesk.id=119",
    "tesk.body=OPENDOOR~12:34:5!23:59:1~POWERUP ~00:01:0 tesk.id=117",
    "tesk.body=A1B2C3D4E5 tesk.id=118",
    "tesk.body=4711 tesk.id=120"};

Config configured(std::uint16_t machine, std::uint16_t server) {
    Config config;
    config.serialPorts({machine}).server(server);
    config.set("INTERNAL", "MAC_ADDR_eth0", "00:01:02:0a:0b:0c")
        .set("INTERNAL", "ZQ_MODEL", "BOX7");
    return config.set("INTERNAL", "ZQ_SW_VERSION", "1.2.3");
}

class Dialogue : public testing::Test {
  protected:
    void SetUp() override {
        machine_.start();
        daemon_.start();
        ASSERT_TRUE(machine_.journal().waitForAcknowledgements(1, kPatience * timeScale()));
        hosts_ = std::make_unique<TcpRelay>(capture_, daemon_.port(), kHost, kListening);
        host_ = std::make_unique<HostClient>(hosts_->port());
    }

    void exchange(std::uint8_t type, std::string_view body) {
        host_->request(type, body, 7, ++requests_);
        ASSERT_TRUE(host_->readFrame().checksumOk);
    }

    // Answers the notifications that come until every code has come.
    void serve(std::set<int> codes) {
        while (!codes.empty()) {
            const std::string datagram = server_.receive();
            capture_.udp(kNotifying, kServer, datagram);
            const int code = std::stoi(aamsText(parseFrame(datagram)->body).substr(0, 3));
            const std::string answer =
                answerTo(*parseFrame(datagram), aamsPayload(code, code == 2 ? "-9!1!0!30" : "-"));
            capture_.udp(kServer, kNotifying, answer);
            server_.reply(answer);
            codes.erase(code);
        }
    }

    CaptureFile capture_;
    tesksim::Machine machine_{{.codeId = kName}};
    TcpRelay line_{capture_, machine_.port(), kCalling, kMachine};
    UdpPeer server_;
    DaemonProcess daemon_{daemonOptions(), configured(line_.port(), server_.port())};
    std::unique_ptr<TcpRelay> hosts_;
    std::unique_ptr<HostClient> host_;
    std::uint32_t requests_ = 0;
};

TEST_F(Dialogue, IsShownAsItWasHeld) {
    serve({1, 2});
    ASSERT_TRUE(daemon_.log().waitFor("AAMS External parameters changed"));
    exchange(1, bytes("00"));
    exchange(2, "CNT00001CNT99999" + kName);
    exchange(3, bytes("00 05 01 00") + kName);
    exchange(4, "08:00:0020:00:00" + bytes("01") + kName);
    exchange(5, bytes("01") + kName + bytes("76"));
    exchange(6, kName + bytes("01 02 03 04") + "120~0008");
    exchange(7, "");
    exchange(8, "");
    exchange(1, bytes("01") + "nobody");
    for (const int code : {501, 502, 503, 504, 505}) {
        exchange(kAamsType, aamsPayload(code, "-" + (code / 2 == 251 || code == 504 ? kName : "")));
    }
    exchange(kAamsType, aamsPayload(506, "-10!1!0!5"));
    exchange(kAamsType, aamsPayload(507, "-991231235959"));
    EXPECT_CLEAN_STOP(daemon_);

    const Shown shown = tshark(capture_, kFields);

    using testing::IsSupersetOf;
    using testing::UnorderedElementsAre;
    std::vector<std::string> answers = shown.lines("dorn.answer", kCommon);
    ASSERT_LT(2U, answers.size());
    const std::vector<std::string> fromServer(answers.begin(), answers.begin() + 2);
    answers.erase(answers.begin(), answers.begin() + 2);
    EXPECT_THAT(fromServer, UnorderedElementsAre("aams.code=1 dorn.kind=0x81",
                                                 "aams.code=2 aams.period=9 dorn.kind=0x81"));
    EXPECT_THAT(answers, testing::ElementsAreArray(kAnswers));
    EXPECT_THAT(shown.lines("tesk.answer", kCommon), testing::ElementsAreArray(kMessages));
    EXPECT_EQ(kAnswers.size() + 2, shown.values("dorn.request_in").size());
    EXPECT_EQ(kMessages.size(), shown.values("tesk.acknowledges").size());
    EXPECT_THAT(shown.values("tesk.com_port.command"), IsSupersetOf({"1", "2", "3", "4", "5"}));
    EXPECT_THAT(shown.values("dorn.checksum.status"), testing::Each("1"));
    for (const char* const protocol : {"dorn", "aams", "tesk"}) {
        EXPECT_THAT(shown.values(std::string(protocol) + ".malformed"), testing::IsEmpty());
    }
}

}  // namespace
}  // namespace teskd::test
