// What a machine's serial-port server sees of the daemon, byte by byte.

#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support/ProcInfo.h"

namespace teskd::test {
namespace {

// One serial port, whose server is played by hand.
class TelnetDialogue : public testing::Test {
  protected:
    // The daemon waits a second for what follows, so nobody waits for it to listen first.
    Connection startAndAccept(Config config = {}) {
        config.serialPorts({listener_.port()});
        gateway_ = std::make_unique<Gateway>(0, config,
                                             DaemonProcess::Options{.waitUntilListening = false});
        gateway_->start();
        return listener_.accept();
    }
    HostClient host() {
        EXPECT_TRUE(eventually([this] { return somebodyListens(gateway_->daemon().port()); }));
        return gateway_->host();
    }
    // Reads what must come next.
    static void expect(Connection& server, const std::string& expected) {
        EXPECT_BYTES(expected, server.readExactly(expected.size()));
    }
    // The whole negotiation, with the five values set, and the poll behind it.
    static void expectNegotiation(Connection& server, const std::string& baudrate,
                                  const std::string& values) {
        expect(server, bytes("FF FB 03  FF FB 2C"));
        server.sendAll(bytes("FF FD 2C"));
        expect(server, bytes("FF FB 2C"));
        expect(server, bytes("FF FA 2C 01") + bytes(baudrate) + bytes("FF F0"));
        char option = 2;
        for (const char value : bytes(values)) {
            expect(server, bytes("FF FA 2C") + option++ + value + bytes("FF F0"));
        }
        expect(server, "113~0008");
    }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_->daemon()); }

    Listener listener_;
    std::unique_ptr<Gateway> gateway_;
};

const std::string kAnswer = "113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0";

TEST_F(TelnetDialogue, OffersThenSetsTheLineThenPolls) {
    Connection server = startAndAccept();
    expectNegotiation(server, "00 00 4B 00", "08 01 01 01");
    server.sendAll(kAnswer);
    expect(server, "150~000C~113");
}

TEST_F(TelnetDialogue, TheLineIsSetAsConfigured) {
    Config config;
    config.set("PORT_ASYNC1", "BAUDRATE", "38400")
        .set("PORT_ASYNC1", "DATASIZE", "7")
        .set("PORT_ASYNC1", "PARITY", "EVEN")
        .set("PORT_ASYNC1", "STOPSIZE", "2")
        .set("PORT_ASYNC1", "FLOWCONTROL", "CTS/RTS");
    Connection server = startAndAccept(config);
    expectNegotiation(server, "00 00 96 00", "07 03 02 03");
}

TEST_F(TelnetDialogue, AWordThatIsNoSettingEndsTheAttemptAndNothingElse) {
    Config config;
    config.set("PORT_ASYNC1", "PARITY", "odd");
    Connection server = startAndAccept(config);
    server.sendAll(bytes("FF FD 2C"));
    EXPECT_TRUE(server.closedByPeer());
    HostClient host = this->host();
    host.request(7, "");
    EXPECT_EQ(30U, host.readFrame().body.size());
}

TEST_F(TelnetDialogue, CommandsInTheMiddleOfAnAnswerAreNoData) {
    Connection server = startAndAccept();
    server.sendAll(bytes("FF FD 2C"));
    std::string seen;
    while (seen.find("113~0008") == std::string::npos) seen += server.readExactly(1);
    server.sendAll("113~0034~15.03" + bytes("FF"));
    server.sendAll(bytes("F1  FF FA 2C 6B 00 FF F0"));
    server.sendAll(".21~ZA000000001~00~100~200~1~100~200~0");
    expect(server, "150~000C~113");
    const auto line = gateway_->log().waitFor("Un-handle Telnet : COM_PORT_OPTION(107, 0x6b)");
    ASSERT_TRUE(line.has_value()) << gateway_->log().dump();
    EXPECT_EQ(182, line->priority);

    HostClient host = this->host();
    host.request(1, named("\1", "ZA000000001"));
    expect(server, "113~0008");
    server.sendAll(kAnswer);
    EXPECT_EQ(0x81, host.readFrame().kind);
    expect(server, "150~000C~113");
}

// Each side agreeing to what the other agrees to must come to an end.
TEST_F(TelnetDialogue, RepeatedOffersAreNotAnsweredForEver) {
    Connection server = startAndAccept();
    expect(server, bytes("FF FB 03  FF FB 2C"));
    for (int i = 0; i < 200; ++i) server.sendAll(bytes("FF FD 2C  FF FB 2C  FF FD 05  FF FB 05"));
    std::string seen;
    while (seen.find("113~0008") == std::string::npos) seen += server.readExactly(1);
    std::size_t agreed = 0;
    for (std::size_t at = 0; (at = seen.find(bytes("FF FB 2C"), at)) != std::string::npos; ++at) {
        ++agreed;
    }
    EXPECT_EQ(1U, agreed) << hex(seen);
    server.sendAll(kAnswer);
    expect(server, "150~000C~113");
}

}  // namespace
}  // namespace teskd::test
